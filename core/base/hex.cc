#include "core/base/hex.h"

namespace kelvane {

void hex_upper(const uint8_t *bytes, size_t length, char *out) {
  static const char kDigits[] = "0123456789ABCDEF";
  for (size_t i = 0; i < length; i++) {
    out[2 * i] = kDigits[bytes[i] >> 4];
    out[2 * i + 1] = kDigits[bytes[i] & 0x0F];
  }
  out[2 * length] = '\0';
}

}  // namespace kelvane
