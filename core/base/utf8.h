// Strict UTF-8, one character at a time. Never blocks, allocates or logs; reads nothing at or behind end.
#ifndef KELVANE_CORE_BASE_UTF8_H
#define KELVANE_CORE_BASE_UTF8_H

#include <stddef.h>
#include <stdint.h>

namespace kelvane {

// Decodes the character that begins at `at`, which is below end. The number of its bytes (1 to 4) with its code point
// in *code_point; 0 with *code_point unchanged when there is none: a stray or missing continuation byte, an overlong
// form, a surrogate, or anything above U+10FFFF.
size_t utf8_decode(const char *at, const char *end, uint32_t *code_point);

// Whether length bytes are characters from first to last. An empty text is.
bool utf8_valid(const char *text, size_t length);

}  // namespace kelvane

#endif
