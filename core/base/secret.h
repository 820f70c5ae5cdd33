// A heap block for secret bytes: zeroed when made, overwritten before it is freed. Move is not needed and not offered.
// Used by whatever decodes or decrypts. Never blocks, never logs.
#ifndef KELVANE_CORE_BASE_SECRET_H
#define KELVANE_CORE_BASE_SECRET_H

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include "core/base/text.h"

namespace kelvane {

class Secret {
 public:
  Secret() = default;
  ~Secret() { reset(); }
  Secret(const Secret &) = delete;
  Secret &operator=(const Secret &) = delete;

  // Replaces what is held by size zeroed bytes. 0, or -1 with nothing held.
  int32_t allocate(size_t size) {
    reset();
    bytes_ = static_cast<uint8_t *>(calloc(size, 1));
    size_ = bytes_ != nullptr ? size : 0;
    return bytes_ != nullptr ? 0 : -1;
  }

  void reset() {
    if (bytes_ != nullptr) {
      wipe_memory(bytes_, size_);
    }
    free(bytes_);
    bytes_ = nullptr;
    size_ = 0;
  }

  uint8_t *bytes() { return bytes_; }
  size_t size() const { return size_; }
  // As text; the owner sees to a zero byte behind it.
  const char *text() const { return reinterpret_cast<const char *>(bytes_); }

 private:
  uint8_t *bytes_ = nullptr;
  size_t size_ = 0;
};

}  // namespace kelvane

#endif
