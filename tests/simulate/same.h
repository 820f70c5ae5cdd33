// Comparing, and telling what differs of whom.
#ifndef KELVANE_TESTS_SIMULATE_SAME_H
#define KELVANE_TESTS_SIMULATE_SAME_H

#include <cstdint>

namespace simulate {

void same_text(const char *whose, const char *what, const char *is, const char *should);
void same_number(const char *whose, const char *what, int64_t is, int64_t should);

}  // namespace simulate

#endif
