// Version texts of four dot-separated unsigned numbers. Never blocks, never logs.
#ifndef KELVANE_CORE_BASE_VERSION_TEXT_H
#define KELVANE_CORE_BASE_VERSION_TEXT_H

#include <stdint.h>

namespace kelvane {

struct VersionNumbers {
  uint32_t part[4];
};

// Reads a text as "%u.%u.%u.%u" does; what follows the fourth number is ignored. False unless all four were read.
bool version_parse(const char *text, VersionNumbers *numbers);

// Whether a is greater than b: the first number that differs decides.
bool version_greater(const VersionNumbers *a, const VersionNumbers *b);

}  // namespace kelvane

#endif
