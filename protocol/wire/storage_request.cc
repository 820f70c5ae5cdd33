#include "protocol/wire/storage_request.h"

#include "core/base/log.h"
#include "protocol/http_request.h"

namespace kelvane {

namespace {

constexpr char kStorageVersionHeader[] = "x-ms-version: 2014-02-14";

// An empty list when memory ran out.
CurlListOwner make_headers(const char *const *added, size_t count) {
  CurlListOwner list(wire_date_header());
  if (!list.present() || !http_header_append(&list, kStorageVersionHeader)) {
    return CurlListOwner();
  }
  return http_header_list(static_cast<CurlListOwner &&>(list), added, count);
}

}  // namespace

int32_t storage_request(int32_t kind, const char *url, const char *const *added, size_t count, Buffer *body,
                        Buffer *response, int64_t *code) {
  CurlListOwner headers = make_headers(added, count);
  if (!headers.present()) {
    LOG_ABOVE(0, "[kelvane]: no memory for the headers of a storage request, it is not sent\n");
    return -1;
  }
  return __WireClient_call_storage_service(kind, url, headers.release(), body, response, code);
}

}  // namespace kelvane
