// The headers of a request to the storage service: date and version, then what the request adds.
#ifndef KELVANE_PROTOCOL_WIRE_STORAGE_HEADERS_H
#define KELVANE_PROTOCOL_WIRE_STORAGE_HEADERS_H

#include <stddef.h>

#include "core/base/curl_owners.h"

namespace kelvane {

// A fresh list, the caller's to free (the storage caller of the HTTP client does); null when memory ran out.
curl_slist *storage_headers(const char *const *added, size_t count);

template <size_t Count>
curl_slist *storage_headers(const char *const (&added)[Count]) {
  return storage_headers(added, Count);
}

}  // namespace kelvane

#endif
