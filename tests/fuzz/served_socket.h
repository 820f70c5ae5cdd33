// The network for the fuzz target of answers: each connection of libcurl is one end of a socket pair, in whose other
// end the answer waits already. For programs that wrap curl_easy_init.
#ifndef KELVANE_TESTS_FUZZ_SERVED_SOCKET_H
#define KELVANE_TESTS_FUZZ_SERVED_SOCKET_H

#include <string>

namespace fuzz {

// What every connection from now on reads to its end: 100 KB at the most.
void answer_requests_with(const std::string &bytes);

// Whether the answer says, anywhere, that its body comes in another form.
bool in_chunks(const std::string &bytes);

}  // namespace fuzz

#endif
