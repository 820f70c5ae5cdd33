// What must hold at every extension pass. A pass that breaks one ends the life with what broke (world.h).
#ifndef KELVANE_TESTS_SIMULATE_INVARIANTS_H
#define KELVANE_TESTS_SIMULATE_INVARIANTS_H

#include <cstdint>

namespace simulate {

// Before the first line of a life, and around each of its passes.
void invariants_begin_life();
void invariants_begin_pass();
void invariants_end_pass();

}  // namespace simulate

#endif
