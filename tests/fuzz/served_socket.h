// The network for the fuzz target of answers: each connection of libcurl is one end of a socket pair, in whose other
// end the answer waits already. For programs that wrap curl_easy_init.
#ifndef KELVANE_TESTS_FUZZ_SERVED_SOCKET_H
#define KELVANE_TESTS_FUZZ_SERVED_SOCKET_H

#include <cstdint>
#include <string>
#include <utility>

#include "core/base/buffer.h"
#include "core/base/curl_owners.h"

namespace fuzz {

// What the next connection reads to its end: 100 KB at the most. Those behind it get an empty good answer, so that
// repeated attempts come to an end.
void answer_requests_with(const std::string &bytes);

// Makes one request with a function of the wire protocol's. Its result and the body. What libcurl makes of a status
// line or a head that is none is its own affair: it may be a success whatever the status.
std::pair<int32_t, std::string> asked(int32_t (*ask)(const char *url, curl_slist *headers, kelvane::Buffer *body,
                                                     int64_t *status));

// Whether the answer says, anywhere, that its body comes in another form.
bool in_chunks(const std::string &bytes);

}  // namespace fuzz

#endif
