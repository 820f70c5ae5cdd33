#include "core/base/version_text.h"

#include <stdio.h>

namespace kelvane {

bool version_parse(const char *text, VersionNumbers *numbers) {
  uint32_t *part = numbers->part;
  // scanf's own reading of numbers is what is wanted: signs, blanks and wrapping included.
  return text != nullptr &&
         sscanf(text, "%u.%u.%u.%u", &part[0], &part[1], &part[2], &part[3]) == 4;  // NOLINT(cert-err34-c)
}

bool version_greater(const VersionNumbers *a, const VersionNumbers *b) {
  for (int i = 0; i < 4; i++) {
    if (a->part[i] != b->part[i]) {
      return a->part[i] > b->part[i];
    }
  }
  return false;
}

}  // namespace kelvane
