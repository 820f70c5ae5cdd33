// The buffer record: heap bytes, always followed by a zero byte, and their number. Passed between the HTTP client, the
// protocols and telemetry. Whoever declares one empties it with __freeBuffer, or lets BufferOwner do so (both in
// core/base/buffer.h). Trivially copyable; a copy shares the bytes.
#ifndef KELVANE_INCLUDE_BUFFER_H
#define KELVANE_INCLUDE_BUFFER_H

#include <stdint.h>

namespace kelvane {

struct Buffer {
  char *data;       // null while empty
  uint64_t length;  // bytes, without the terminating zero
};

}  // namespace kelvane

#endif
