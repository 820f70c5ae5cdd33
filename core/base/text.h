// Owned text and fixed text fields. Text is a move-only handle over a malloc'ed, zero-terminated C string that can be
// absent; its copy can fail, and every maker says so. Fields are the fixed-size character arrays of the shared records.
// Called from everywhere; never blocks, never logs.
#ifndef KELVANE_CORE_BASE_TEXT_H
#define KELVANE_CORE_BASE_TEXT_H

#include <stddef.h>
#include <stdint.h>

namespace kelvane {

class Text {
 public:
  Text() = default;
  ~Text() { reset(); }
  Text(Text &&other) noexcept : text_(other.release()) {}
  Text &operator=(Text &&other) noexcept;
  Text(const Text &) = delete;
  Text &operator=(const Text &) = delete;

  // Takes over a malloc'ed text, or none.
  static Text adopt(char *text);

  // The text, null while absent. Lent until the handle changes.
  const char *get() const { return text_; }
  bool present() const { return text_ != nullptr; }
  bool empty() const { return text_ == nullptr || text_[0] == '\0'; }

  // Frees the text: absent afterwards.
  void reset();
  // Overwrites the text before freeing it; for secrets.
  void wipe();
  // Gives the text away; the caller frees it.
  char *release();

 private:
  char *text_ = nullptr;
};

// The text itself, or a placeholder when it is null.
inline const char *text_or(const char *text, const char *placeholder) {
  return text != nullptr ? text : placeholder;
}

// Replaces *out by a copy of source (absent for a null source). 0, or -1 with *out unchanged when memory ran out.
int32_t text_copy(Text *out, const char *source);

// The same for a span of bytes that holds no zero byte; length in bytes.
int32_t text_copy_span(Text *out, const char *source, size_t length);

// For owned texts of records: frees *slot and puts a copy of source there, absent for a null source. 0, or -1 with
// *slot absent when memory ran out.
int32_t text_replace(char **slot, const char *source);

// printf into a fresh text. 0, or -1 with *out unchanged.
int32_t text_format(Text *out, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Truncating copy into a field of size bytes: always terminated, the rest zeroed. A source that does not fit is cut in
// front of the UTF-8 character that would be split. A null source empties the field. Returns the length kept.
size_t text_copy_field(char *field, size_t size, const char *source);

template <size_t Size>
size_t text_copy_field(char (&field)[Size], const char *source) {
  return text_copy_field(field, Size, source);
}

// Overwrites memory that held a secret; not optimised away.
void wipe_memory(void *memory, size_t size);

}  // namespace kelvane

#endif
