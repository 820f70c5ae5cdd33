// What the agent and the C libraries that it calls hold at the moment, to the byte: the process's malloc family is
// replaced by one that counts; under the address sanitizer, which has its own, that one's hooks count. What the
// simulation itself holds is C++ and comes from operator new, which is not counted.
#ifndef KELVANE_TESTS_SIMULATE_ALLOCATIONS_H
#define KELVANE_TESTS_SIMULATE_ALLOCATIONS_H

#include <cstddef>
#include <string>

namespace simulate {

// Bytes that were asked for and not given back.
size_t allocations_bytes();

// Keeps how many blocks of each size there are; and tells which sizes there are more of since.
void allocations_mark();
std::string allocations_since_mark();

}  // namespace simulate

#endif
