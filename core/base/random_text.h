// A text of random bytes: the password that nobody knows. Used by the administrator lock and by the creation of
// accounts that are reached by key only. Reads a descriptor of the system's random source and falls back to the
// platform's; never blocks for long, never logs. The bytes are wiped when the text goes.
#ifndef KELVANE_CORE_BASE_RANDOM_TEXT_H
#define KELVANE_CORE_BASE_RANDOM_TEXT_H

#include <stddef.h>
#include <stdint.h>

namespace kelvane {

inline constexpr char kRandomSource[] = "/dev/urandom";
inline constexpr size_t kRandomTextBytes = 64;

class RandomText {
 public:
  RandomText() = default;
  ~RandomText();
  RandomText(const RandomText &) = delete;
  RandomText &operator=(const RandomText &) = delete;

  // Reads 64 bytes from the open random source (negative: it could not be opened). The text is the bytes up to the
  // first zero byte, deliberately as they come. Where that would be the empty text, which everybody knows, the
  // platform's random bytes are taken instead. 0; -1 with an empty text when neither source gives anything.
  int32_t read_from(int descriptor);

  // The text, empty until it was read. Lent until this goes.
  const char *get() const { return text_; }

 private:
  char text_[kRandomTextBytes + 1] = {};
};

}  // namespace kelvane

#endif
