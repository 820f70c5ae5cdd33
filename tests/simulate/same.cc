#include "tests/simulate/same.h"

#include <cstring>

#include "tests/simulate/world.h"

namespace simulate {

void same_text(const char *whose, const char *what, const char *is, const char *should) {
  if (std::strcmp(is, should) != 0) {
    broken("%s: %s is '%s' and should be '%s'", whose, what, is, should);
  }
}

void same_number(const char *whose, const char *what, int64_t is, int64_t should) {
  if (is != should) {
    broken("%s: %s is %lld and should be %lld", whose, what, static_cast<long long>(is),
           static_cast<long long>(should));
  }
}

}  // namespace simulate
