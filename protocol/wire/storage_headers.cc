#include "protocol/wire/storage_headers.h"

#include "core/base/curl_owners.h"
#include "protocol/wire/http_client.h"

namespace kelvane {

namespace {

constexpr char kStorageVersionHeader[] = "x-ms-version: 2014-02-14";

bool append(CurlListOwner *list, const char *line) {
  curl_slist *longer = curl_slist_append(list->get(), line);
  if (longer == nullptr) {
    return false;
  }
  list->release();
  list->reset(longer);
  return true;
}

}  // namespace

curl_slist *storage_headers(const char *const *added, size_t count) {
  CurlListOwner list(wire_date_header());
  bool complete = list.present() && append(&list, kStorageVersionHeader);
  for (size_t i = 0; complete && i < count; i++) {
    complete = append(&list, added[i]);
  }
  return complete ? list.release() : nullptr;
}

}  // namespace kelvane
