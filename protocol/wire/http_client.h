// The HTTP client: every exchange with the wire server and with the storage service. Single attempts over libcurl's
// easy interface, three attempts around each, and a second layer of three cycles around those; nothing else in the wire
// protocol calls libcurl. Blocks: one request up to 10 seconds, a whole call for minutes when nothing answers. A
// failure is a libcurl result code; its log lines are written here.
#ifndef KELVANE_PROTOCOL_WIRE_HTTP_CLIENT_H
#define KELVANE_PROTOCOL_WIRE_HTTP_CLIENT_H

#include <curl/curl.h>
#include <stddef.h>
#include <stdint.h>

#include "include/buffer.h"

namespace kelvane {

// Single attempts. headers may be null and stay the caller's; code receives the HTTP status (0 without an answer). The
// libcurl result, 0 for success, statuses of 400 and above being failures (22) without a body; -1 when no handle can be
// made. What POST and PUT are answered is discarded.
int32_t httpHead(const char *url, curl_slist *headers, Buffer *response, int64_t *code);
int32_t httpGet(const char *url, curl_slist *headers, Buffer *response, int64_t *code);
int32_t httpPost(const char *url, curl_slist *headers, Buffer *request, int64_t *code);
int32_t httpPut(const char *url, curl_slist *headers, Buffer *request, int64_t *code);

// Up to three attempts, 10 seconds of sleep after each failed one that was no time-out, the last included. Frees the
// header list unless keep_headers is set. The last attempt's result.
int32_t __get_head_data(const char *url, curl_slist *headers, Buffer *response, int64_t *code, int32_t keep_headers);
int32_t __get_data(const char *url, curl_slist *headers, Buffer *response, int64_t *code, int32_t keep_headers);
int32_t __post_data(const char *url, Buffer *request, curl_slist *headers, int64_t *code, int32_t keep_headers);
int32_t __put_data(const char *url, Buffer *request, curl_slist *headers, int64_t *code, int32_t keep_headers);

// A request to the wire server: POST of the request buffer when is_post is set, else GET into the response buffer, in
// up to three cycles. Frees the header list. The last libcurl result.
int32_t __WireClient_call_wireserver(int32_t is_post, const char *url, curl_slist *headers, Buffer *request,
                                     Buffer *response);

enum StorageRequest : int32_t { kStorageGet = 0, kStorageHead = 1, kStoragePut = 2 };

// A request to the storage service, in up to three cycles. Frees the header list; code holds the last HTTP status. The
// last libcurl result; 0 without a request for any other kind.
int32_t __WireClient_call_storage_service(int32_t kind, const char *url, curl_slist *headers, Buffer *request,
                                          Buffer *response, int64_t *code);

// Fresh header lists, the caller's to free; null when memory ran out.
curl_slist *wire_get_headers();
curl_slist *wire_post_headers();
curl_slist *wire_certificates_headers();
curl_slist *wire_date_header();

// The value of the last "x-ms-blob-type:" header that a HEAD request saw, lent until the next one; null while there is
// none. The status blob clears it before each HEAD.
const char *captured_blob_type();
void captured_blob_type_clear();

// libcurl callbacks.
size_t __curl_header_recv_cb(char *line, size_t size, size_t count, void *user);
int curl_sock_vf_func(void *user, curl_socket_t socket, curlsocktype purpose);

}  // namespace kelvane

#endif
