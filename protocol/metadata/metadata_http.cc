#include "protocol/metadata/metadata_http.h"

#include <ctype.h>
#include <limits.h>
#include <string.h>
#include <strings.h>

#include "core/base/buffer.h"
#include "core/base/json.h"
#include "core/base/log.h"
#include "protocol/http_request.h"

namespace kelvane {

namespace {

constexpr char kEtagPrefix[] = "ETag:";
constexpr size_t kEtagPrefixLength = sizeof kEtagPrefix - 1;

// What both requests begin with. Unlike the wire protocol's they leave the verification of peers as it is, and do not
// fail on an error status.
CurlOwner start_request(const char *name, int32_t number, const char *url) {
  LOG_ABOVE(6, "[kelvane]: %s:%d URL: %s\n", name, number, url);
  CurlOwner handle(curl_easy_init());
  if (handle.present()) {
    curl_easy_setopt(handle.get(), CURLOPT_TIMEOUT, kHttpTimeout);
    curl_easy_setopt(handle.get(), CURLOPT_URL, url);
  }
  return handle;
}

int32_t perform(const char *name, int32_t number, CURL *handle) {
  const int32_t result = http_perform(handle, nullptr);
  LOG_ABOVE(6, "[kelvane]: curl_error: %s:%d res %d\n", name, number, result);
  return result;
}

int32_t httpGet(const char *url, curl_slist *headers, Buffer *response, Text *etag) {
  CurlOwner handle = start_request("httpGet", 257, url);
  if (!handle.present()) {
    return -1;
  }
  curl_easy_setopt(handle.get(), CURLOPT_HTTPGET, 1L);
  http_collect(handle.get(), response);
  if (etag != nullptr) {
    curl_easy_setopt(handle.get(), CURLOPT_HEADERFUNCTION, metadata_header_recv_cb);
    curl_easy_setopt(handle.get(), CURLOPT_HEADERDATA, etag);
  }
  if (headers != nullptr) {
    curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, headers);
  }
  return perform("httpGet", 281, handle.get());
}

int32_t httpPut(const char *url, curl_slist *headers, const char *body) {
  CurlOwner handle = start_request("httpPut", 324, url);
  if (!handle.present()) {
    return -1;
  }
  BufferOwner discarded;
  const uint64_t length = strlen(body);
  HttpUpload upload = {body, length};
  curl_easy_setopt(handle.get(), CURLOPT_UPLOAD, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_READFUNCTION, http_upload_read_cb);
  curl_easy_setopt(handle.get(), CURLOPT_READDATA, &upload);
  curl_easy_setopt(handle.get(), CURLOPT_INFILESIZE, static_cast<long>(length));
  http_collect(handle.get(), discarded.get());
  if (length != 0) {
    LOG_ABOVE(6, "[kelvane]: %s:%d Req Data (%lu): '%s'\n", "httpPut", 343, length, body);
  }
  curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, headers);
  return perform("httpPut", 352, handle.get());
}

}  // namespace

JsonOwner metadata_get(const char *url, curl_slist *headers, Text *etag) {
  BufferOwner body;
  const int32_t result = http_attempts([&] {
    __freeBuffer(body.get());  // what a broken-off attempt left is no part of the document
    return httpGet(url, headers, body.get(), etag);
  });
  bool no_memory = false;
  JsonOwner document = result == 0 && !body.empty() ? json_load(body.data(), &no_memory) : JsonOwner();
  if (no_memory) {
    // Without its query, which may hold a token.
    LOG_ABOVE(0, "[kelvane]: no memory for the answer of %.*s, it is not read\n", static_cast<int>(strcspn(url, "?")),
              url);
    if (etag != nullptr) {
      etag->reset();  // without it the next pass counts as changed, as the document was not seen
    }
  }
  return document;
}

int32_t metadata_put(const char *url, CurlListOwner *headers, json_object *document) {
  const char *body = json_object_to_json_string(document);
  if (body == nullptr) {
    return -1;
  }
  http_header_append(headers, "Content-Type: application/json");
  return http_attempts([&] { return httpPut(url, headers->get(), body); });
}

namespace {

// Keeps the value exactly as sent, quotation marks included: from the first character that is no space to the first
// carriage return, or to the end of the data. Nothing but spaces changes nothing; no character at all in front of the
// carriage return is the empty text, deliberately.
void capture_etag(const char *value, const char *end, Text *etag) {
  const char *start = value;
  while (start < end && *start == ' ') {
    start++;
  }
  const auto *stop = static_cast<const char *>(memchr(start, '\r', static_cast<size_t>(end - start)));
  if (start == end || (start == stop && start != value)) {
    return;
  }
  text_copy_span(etag, start, static_cast<size_t>((stop != nullptr ? stop : end) - start));
}

}  // namespace

size_t metadata_header_recv_cb(char *line, size_t size, size_t count, void *etag) {
  const size_t length = size * count;
  if (length != 0 && isspace(static_cast<unsigned char>(line[0])) == 0) {
    // libcurl promises no terminator.
    LOG_ABOVE(6, "[kelvane]: %s:%d CURL HDR: '%.*s'", "__curl_header_recv_cb", 217,
              static_cast<int>(length < INT_MAX ? length : INT_MAX), line);
  }
  if (length >= kEtagPrefixLength && strncasecmp(line, kEtagPrefix, kEtagPrefixLength) == 0) {
    capture_etag(line + kEtagPrefixLength, line + length, static_cast<Text *>(etag));
  }
  return length;
}

}  // namespace kelvane
