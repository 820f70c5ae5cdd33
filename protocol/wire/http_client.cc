#include "protocol/wire/http_client.h"

#include <ctype.h>
#include <limits.h>
#include <string.h>
#include <strings.h>
#include <time.h>
#include <unistd.h>

#include "core/base/buffer.h"
#include "core/base/curl_owners.h"
#include "core/base/log.h"
#include "core/base/text.h"
#include "core/base/utc_time.h"
#include "credentials/transport_cert.h"
#include "protocol/http_request.h"

namespace kelvane {

namespace {

constexpr int32_t kCycles = 3;
constexpr unsigned kCyclePauseSeconds = 15;
constexpr int64_t kForbidden = 403;
constexpr int64_t kServiceUnavailable = 503;

constexpr const char kAgentNameHeader[] = "x-ms-agent-name: TorvikGuest";
constexpr const char kWireVersionHeader[] = "x-ms-version: 2012-11-30";
constexpr const char kBlobTypePrefix[] = "x-ms-blob-type:";
constexpr size_t kBlobTypePrefixLength = sizeof kBlobTypePrefix - 1;

Text gsBlobType;

// What all four requests begin with.
CurlOwner start_request(const char *name, int32_t number, const char *url) {
  LOG_ABOVE(6, "[kelvane]: %s:%d URL: %s\n", name, number, url);
  CurlOwner handle(curl_easy_init());
  if (handle.present()) {
    curl_easy_setopt(handle.get(), CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(handle.get(), CURLOPT_TIMEOUT, kHttpTimeout);
    curl_easy_setopt(handle.get(), CURLOPT_URL, url);
  }
  return handle;
}

void log_body(const char *name, int32_t number, const Buffer *request) {
  if (request->length != 0) {
    LOG_ABOVE(6, "[kelvane]: %s:%d Req Data (%lu): '%s'\n", name, number, request->length, request->data);
  }
}

// Performs a request whose line in the log is a "curl_error" one, whatever came of it.
int32_t perform(const char *name, int32_t number, CURL *handle, int64_t *code) {
  const int32_t result = http_perform(handle, code);
  LOG_ABOVE(6, "[kelvane]: curl_error: %s:%d res %d, code %ld\n", name, number, result, *code);
  return result;
}

}  // namespace

int32_t httpHead(const char *url, curl_slist *headers, Buffer *response, int64_t *code) {
  CurlOwner handle = start_request("httpHead", 171, url);
  if (!handle.present()) {
    return -1;
  }
  curl_easy_setopt(handle.get(), CURLOPT_HTTPGET, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_NOBODY, 1L);
  http_collect(handle.get(), response);
  curl_easy_setopt(handle.get(), CURLOPT_HEADERFUNCTION, __curl_header_recv_cb);
  curl_easy_setopt(handle.get(), CURLOPT_HEADERDATA, nullptr);
  if (headers != nullptr) {
    curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, headers);
  }
  return perform("httpHead", 196, handle.get(), code);
}

int32_t httpGet(const char *url, curl_slist *headers, Buffer *response, int64_t *code) {
  CurlOwner handle = start_request("httpGet", 212, url);
  if (!handle.present()) {
    return -1;
  }
  curl_easy_setopt(handle.get(), CURLOPT_HTTPGET, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_FAILONERROR, 1L);
  http_collect(handle.get(), response);
  if (headers != nullptr) {
    curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, headers);
  }
  const int32_t result = http_perform(handle.get(), code);
  LOG_ABOVE(6, "[kelvane]: curl info: %s:%d res %d, code %ld\n", "httpGet", 234, result, *code);
  return result;
}

int32_t httpPost(const char *url, curl_slist *headers, Buffer *request, int64_t *code) {
  CurlOwner handle = start_request("httpPost", 251, url);
  if (!handle.present()) {
    return -1;
  }
  BufferOwner discarded;
  const long length = static_cast<long>(request->length);
  curl_easy_setopt(handle.get(), CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_POST, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_INFILESIZE, length);
  curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDSIZE, length);
  // An absent body is the empty text: with null, nothing but the size of 0 would keep libcurl from asking for a body.
  curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDS, text_or(request->data, ""));
  http_collect(handle.get(), discarded.get());
  log_body("httpPost", 268, request);
  curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, headers);
  return perform("httpPost", 275, handle.get(), code);
}

int32_t httpPut(const char *url, curl_slist *headers, Buffer *request, int64_t *code) {
  CurlOwner handle = start_request("httpPut", 290, url);
  if (!handle.present()) {
    return -1;
  }
  BufferOwner discarded;
  HttpUpload upload = {request->data, request->length};
  curl_easy_setopt(handle.get(), CURLOPT_UPLOAD, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_READFUNCTION, http_upload_read_cb);
  curl_easy_setopt(handle.get(), CURLOPT_READDATA, &upload);
  curl_easy_setopt(handle.get(), CURLOPT_INFILESIZE, static_cast<long>(request->length));
  http_collect(handle.get(), discarded.get());
  log_body("httpPut", 309, request);
  curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, headers);
  return perform("httpPut", 316, handle.get(), code);
}

namespace {

// Three attempts, then the header list: freed unless it is to be kept.
template <typename Attempt>
int32_t retry(const char *name, int32_t number, curl_slist *headers, int32_t keep_headers, Attempt attempt) {
  LOG_ABOVE(6, "[kelvane]: start - %s:%d\n", name, number);
  CurlListOwner owned(keep_headers == 0 ? headers : nullptr);
  return http_attempts(attempt);
}

}  // namespace

int32_t __get_head_data(const char *url, curl_slist *headers, Buffer *response, int64_t *code, int32_t keep_headers) {
  return retry("__get_head_data", 331, headers, keep_headers, [&] { return httpHead(url, headers, response, code); });
}

int32_t __get_data(const char *url, curl_slist *headers, Buffer *response, int64_t *code, int32_t keep_headers) {
  return retry("__get_data", 356, headers, keep_headers, [&] { return httpGet(url, headers, response, code); });
}

int32_t __post_data(const char *url, Buffer *request, curl_slist *headers, int64_t *code, int32_t keep_headers) {
  return retry("__post_data", 381, headers, keep_headers, [&] { return httpPost(url, headers, request, code); });
}

int32_t __put_data(const char *url, Buffer *request, curl_slist *headers, int64_t *code, int32_t keep_headers) {
  return retry("__put_data", 406, headers, keep_headers, [&] { return httpPut(url, headers, request, code); });
}

int32_t __WireClient_call_wireserver(int32_t is_post, const char *url, curl_slist *headers, Buffer *request,
                                     Buffer *response) {
  CurlListOwner owned(headers);
  int64_t code = 0;
  int32_t result = 0;
  for (int32_t cycle = 1; cycle <= kCycles; cycle++) {
    result = is_post != 0 ? __post_data(url, request, headers, &code, 1) : __get_data(url, headers, response, &code, 1);
    if (result == 0) {
      break;
    }
    if (result == CURLE_OPERATION_TIMEDOUT) {
      continue;
    }
    LOG_ABOVE(0, "[kelvane]: %s:%d, response_code=%ld\n", "__WireClient_call_wireserver", 447, code);
    if (cycle < kCycles && (code == kForbidden || code == kServiceUnavailable)) {
      sleep(kCyclePauseSeconds);
    }
  }
  return result;
}

namespace {

int32_t storage_cycle(int32_t kind, const char *url, curl_slist *headers, Buffer *request, Buffer *response,
                      int64_t *code) {
  switch (kind) {
    case kStorageGet:
      return __get_data(url, headers, response, code, 1);
    case kStorageHead:
      return __get_head_data(url, headers, response, code, 1);
    case kStoragePut:
      return __put_data(url, request, headers, code, 1);
    default:
      return 0;
  }
}

}  // namespace

int32_t __WireClient_call_storage_service(int32_t kind, const char *url, curl_slist *headers, Buffer *request,
                                          Buffer *response, int64_t *code) {
  LOG_ABOVE(6, "[kelvane]: start - %s:%d - %d\n", "__WireClient_call_storage_service", 466, kind);
  CurlListOwner owned(headers);
  int32_t result = 0;
  for (int32_t cycle = 1; cycle <= kCycles; cycle++) {
    result = storage_cycle(kind, url, headers, request, response, code);
    if (result == 0) {
      break;
    }
    // After the last cycle as well, unlike the wire server's calls; deliberate.
    if (*code == kServiceUnavailable) {
      sleep(kCyclePauseSeconds);
    }
  }
  return result;
}

curl_slist *wire_get_headers() {
  return http_header_list({kAgentNameHeader, kWireVersionHeader}).release();
}

curl_slist *wire_post_headers() {
  return http_header_list({kAgentNameHeader, kWireVersionHeader, "Content-Type: text/xml;charset=utf-8"}).release();
}

curl_slist *wire_certificates_headers() {
  CurlListOwner list = http_header_list({kAgentNameHeader, kWireVersionHeader, "x-ms-cipher-name: DES_EDE3_CBC"});
  TransportCert transport = {};
  TransportCertGet(&transport);
  Text line;
  if (list.present() && transport.encoded_certificate != nullptr &&
      text_format(&line, "x-ms-guest-agent-public-x509-cert: %s", transport.encoded_certificate) == 0) {
    http_header_append(&list, line.get());
  }
  return list.release();
}

curl_slist *wire_date_header() {
  UtcTime now;
  Text line;
  utc_time_format(time(nullptr), &now);
  if (text_format(&line, "x-ms-date: %s", now.text) != 0) {
    return nullptr;
  }
  return http_header_list({line.get()}).release();
}

const char *captured_blob_type() {
  return gsBlobType.get();
}

void captured_blob_type_clear() {
  gsBlobType.reset();
}

namespace {

bool ends_value(char character) {
  return character == '\r' || character == '\n' || character == '\0';
}

// Keeps the value without the spaces before it and without the line end; an empty one changes nothing.
void capture_blob_type(const char *value, const char *end) {
  while (value < end && *value == ' ') {
    value++;
  }
  const char *stop = value;
  while (stop < end && !ends_value(*stop)) {
    stop++;
  }
  if (stop != value) {
    text_copy_span(&gsBlobType, value, static_cast<size_t>(stop - value));
  }
}

}  // namespace

size_t __curl_header_recv_cb(char *line, size_t size, size_t count, void *) {
  if (count == 0) {
    return 0;
  }
  if (line == nullptr) {
    LOG_ABOVE(2, "[kelvane]: %s:%d CURL HDR: ptr is nil", "__curl_header_recv_cb", 118);
    return static_cast<size_t>(-1);
  }
  const size_t length = size * count;
  if (length != 0 && isspace(static_cast<unsigned char>(line[0])) == 0) {
    // libcurl promises no terminator.
    LOG_ABOVE(6, "[kelvane]: %s:%d CURL HDR: %.*s", "__curl_header_recv_cb", 123,
              static_cast<int>(length < INT_MAX ? length : INT_MAX), line);
  }
  if (length >= kBlobTypePrefixLength && strncasecmp(line, kBlobTypePrefix, kBlobTypePrefixLength) == 0) {
    capture_blob_type(line + kBlobTypePrefixLength, line + length);
  }
  return count;
}

int curl_sock_vf_func(void *, curl_socket_t, curlsocktype) {
  return CURL_SOCKOPT_OK;
}

}  // namespace kelvane
