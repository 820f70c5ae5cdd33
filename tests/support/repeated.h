// A text many times over, for tests of caps and of long inputs.
#ifndef KELVANE_TESTS_SUPPORT_REPEATED_H
#define KELVANE_TESTS_SUPPORT_REPEATED_H

#include <cstddef>
#include <string>

namespace support {

inline std::string repeated(const std::string &text, size_t times) {
  std::string out;
  for (size_t i = 0; i < times; i++) {
    out += text;
  }
  return out;
}

}  // namespace support

#endif
