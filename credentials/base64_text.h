// Standard base64 on one line, padded, behind a prefix. Never blocks, never logs; fails only for lack of memory or for
// nothing to encode.
#ifndef KELVANE_CREDENTIALS_BASE64_TEXT_H
#define KELVANE_CREDENTIALS_BASE64_TEXT_H

#include <stddef.h>
#include <stdint.h>

#include "core/base/text.h"

namespace kelvane {

// Replaces *out by the prefix and the base64 of length bytes. 0; -1 with *out unchanged when there are no bytes, more
// than a gigabyte of them, or no memory.
int32_t base64_text(Text *out, const char *prefix, const uint8_t *bytes, size_t length);

}  // namespace kelvane

#endif
