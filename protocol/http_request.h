// What every HTTP request of the agent does alike: making a header list, collecting the response in a buffer, serving
// an upload, performing, and the three attempts with their pauses. Shared by the wire protocol's HTTP client, the
// metadata protocol and telemetry; each sets its own options, in its own order, where the request is made. Blocks for
// as long as the request and the pauses take; logs nothing.
#ifndef KELVANE_PROTOCOL_HTTP_REQUEST_H
#define KELVANE_PROTOCOL_HTTP_REQUEST_H

#include <curl/curl.h>
#include <stddef.h>
#include <stdint.h>

#include "core/base/curl_owners.h"
#include "include/buffer.h"

namespace kelvane {

inline constexpr int32_t kHttpAttempts = 3;

// Whole-transfer timeout, in seconds.
inline constexpr long kHttpTimeout = 10;

// Appends one header line, "Name: value". False with the list as it was when memory ran out.
bool http_header_append(CurlListOwner *list, const char *line);

// A list of count lines behind those that the list holds already: all of them, or an empty list when memory ran out.
CurlListOwner http_header_list(CurlListOwner list, const char *const *lines, size_t count);

template <size_t Count>
CurlListOwner http_header_list(const char *const (&lines)[Count]) {
  return http_header_list(CurlListOwner(), lines, Count);
}

// The part of a body that libcurl has not read yet. The bytes are borrowed.
struct HttpUpload {
  const char *data;
  uint64_t left;
};

// libcurl read callback over the HttpUpload that upload points to: copies what fits into size * count bytes and
// advances. The number of bytes copied, 0 at the end.
size_t http_upload_read_cb(char *to, size_t size, size_t count, void *upload);

// Sets the two options that append the response to the buffer, which must outlive the request.
void http_collect(CURL *handle, Buffer *response);

// Performs a prepared request. The libcurl result; *code (which may be null) receives the HTTP status, 0 without an
// answer.
int32_t http_perform(CURL *handle, int64_t *code);

// Sleeps 10 seconds, unless the result is a time-out: that attempt has waited long enough.
void http_pause_after(int32_t result);

// Calls attempt(), an int32_t function, up to three times until it returns 0. The pause follows the third failure, too:
// deliberate, a caller that starts over at once would not have waited. The last attempt's result.
template <typename Attempt>
int32_t http_attempts(Attempt attempt) {
  int32_t result = -1;
  for (int32_t made = 0; made < kHttpAttempts && result != 0; made++) {
    result = attempt();
    if (result != 0) {
      http_pause_after(result);
    }
  }
  return result;
}

}  // namespace kelvane

#endif
