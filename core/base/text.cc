#include "core/base/text.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace kelvane {

Text &Text::operator=(Text &&other) noexcept {
  if (this != &other) {
    reset();
    text_ = other.release();
  }
  return *this;
}

Text Text::adopt(char *text) {
  Text owner;
  owner.text_ = text;
  return owner;
}

void Text::reset() {
  free(text_);
  text_ = nullptr;
}

void Text::wipe() {
  if (text_ != nullptr) {
    wipe_memory(text_, strlen(text_));
  }
  reset();
}

char *Text::release() {
  char *text = text_;
  text_ = nullptr;
  return text;
}

int32_t text_copy(Text *out, const char *source) {
  if (source == nullptr) {
    out->reset();
    return 0;
  }
  return text_copy_span(out, source, strlen(source));
}

int32_t text_copy_span(Text *out, const char *source, size_t length) {
  char *copy = static_cast<char *>(malloc(length + 1));
  if (copy == nullptr) {
    return -1;
  }
  memcpy(copy, source, length);
  copy[length] = '\0';
  *out = Text::adopt(copy);
  return 0;
}

int32_t text_replace(char **slot, const char *source) {
  Text copy;
  const int32_t result = text_copy(&copy, source);
  free(*slot);
  *slot = copy.release();
  return result;
}

int32_t text_format(Text *out, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  char *made = length < 0 ? nullptr : static_cast<char *>(malloc(static_cast<size_t>(length) + 1));
  if (made != nullptr) {
    vsnprintf(made, static_cast<size_t>(length) + 1, format, again);
    *out = Text::adopt(made);
  }
  va_end(again);
  return made != nullptr ? 0 : -1;
}

size_t text_copy_field(char *field, size_t size, const char *source) {
  if (size == 0) {
    return 0;
  }
  const size_t length = source != nullptr ? strlen(source) : 0;
  size_t kept = length;
  if (length >= size) {
    kept = size - 1;
    // Back to the start of the character that the cut would split: at most three continuation bytes.
    for (size_t back = 0; back < 3 && kept > 0 && (static_cast<uint8_t>(source[kept]) & 0xC0u) == 0x80u; back++) {
      kept--;
    }
  }
  if (kept > 0) {
    memmove(field, source, kept);
  }
  memset(field + kept, 0, size - kept);
  return kept;
}

void wipe_memory(void *memory, size_t size) {
  explicit_bzero(memory, size);
}

}  // namespace kelvane
