#include "tests/simulate/text.h"

#include <cstdio>

namespace simulate {

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

bool version_numbers(const char *text, std::array<unsigned, 4> *out) {
  return std::sscanf(text, "%u.%u.%u.%u", &(*out)[0], &(*out)[1], &(*out)[2], &(*out)[3]) == 4;
}

bool version_newer(const char *text, const char *other) {
  std::array<unsigned, 4> one = {};
  std::array<unsigned, 4> two = {};
  return version_numbers(text, &one) && version_numbers(other, &two) && one > two;
}

}  // namespace simulate
