#include "core/base/utf8.h"

namespace kelvane {
namespace {

// By the number of bytes: what the first byte adds, and the smallest code point that needs so many.
struct Form {
  uint8_t mask;
  uint8_t mark;
  uint8_t payload;
  uint32_t smallest;
};
constexpr Form kForms[] = {
    {0x80, 0x00, 0x7F, 0x0}, {0xE0, 0xC0, 0x1F, 0x80}, {0xF0, 0xE0, 0x0F, 0x800}, {0xF8, 0xF0, 0x07, 0x10000}};

bool is_scalar(uint32_t value) {
  return value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

}  // namespace

size_t utf8_decode(const char *at, const char *end, uint32_t *code_point) {
  const uint8_t first = static_cast<uint8_t>(*at);
  for (size_t length = 1; length <= 4; length++) {
    const Form &form = kForms[length - 1];
    if ((first & form.mask) != form.mark) {
      continue;
    }
    if (static_cast<size_t>(end - at) < length) {
      return 0;
    }
    uint32_t value = first & form.payload;
    for (size_t i = 1; i < length; i++) {
      const uint8_t next = static_cast<uint8_t>(at[i]);
      if ((next & 0xC0u) != 0x80u) {
        return 0;
      }
      value = value << 6 | (next & 0x3Fu);
    }
    if (value < form.smallest || !is_scalar(value)) {
      return 0;
    }
    *code_point = value;
    return length;
  }
  return 0;
}

bool utf8_valid(const char *text, size_t length) {
  const char *end = text + length;
  size_t step = 1;
  for (const char *at = text; at < end && step != 0; at += step) {
    uint32_t code_point = 0;
    step = static_cast<uint8_t>(*at) < 0x80 ? 1 : utf8_decode(at, end, &code_point);
  }
  return step != 0;
}

}  // namespace kelvane
