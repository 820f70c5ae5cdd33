#include "protocol/wire/storage_headers.h"

#include "protocol/http_request.h"
#include "protocol/wire/http_client.h"

namespace kelvane {

namespace {

constexpr char kStorageVersionHeader[] = "x-ms-version: 2014-02-14";

}  // namespace

curl_slist *storage_headers(const char *const *added, size_t count) {
  CurlListOwner list(wire_date_header());
  if (!list.present() || !http_header_append(&list, kStorageVersionHeader)) {
    return nullptr;
  }
  return http_header_list(static_cast<CurlListOwner &&>(list), added, count).release();
}

}  // namespace kelvane
