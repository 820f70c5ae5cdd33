// A request to the storage service with the headers that each of them carries: date and version, then what the request
// adds. One whose headers could not be made is not sent: the service would only refuse it. Used by the status blob, on
// the main thread; blocks for as long as the request takes.
#ifndef KELVANE_PROTOCOL_WIRE_STORAGE_REQUEST_H
#define KELVANE_PROTOCOL_WIRE_STORAGE_REQUEST_H

#include <stddef.h>
#include <stdint.h>

#include "include/buffer.h"
#include "protocol/wire/http_client.h"

namespace kelvane {

// The kind is one of StorageRequest; body and response as that kind needs them, else null. The last libcurl result with
// the HTTP status in *code; -1, logged, when memory for the headers ran out.
int32_t storage_request(int32_t kind, const char *url, const char *const *added, size_t count, Buffer *body,
                        Buffer *response, int64_t *code);

// The same for a PUT of the body.
template <size_t Count>
int32_t storage_put(const char *url, const char *const (&added)[Count], Buffer *body, int64_t *code) {
  return storage_request(kStoragePut, url, added, Count, body, nullptr, code);
}

}  // namespace kelvane

#endif
