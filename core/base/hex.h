// Hexadecimal text of bytes. Never blocks, cannot fail.
#ifndef KELVANE_CORE_BASE_HEX_H
#define KELVANE_CORE_BASE_HEX_H

#include <stddef.h>
#include <stdint.h>

namespace kelvane {

// Writes each byte as two uppercase hexadecimal characters, high nibble first, and a terminator: 2 * length + 1
// characters in all, for which out must have room.
void hex_upper(const uint8_t *bytes, size_t length, char *out);

}  // namespace kelvane

#endif
