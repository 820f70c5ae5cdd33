// What secret_test.cc saw being wiped, in order: its substitute serves the whole program.
#ifndef KELVANE_TESTS_UNIT_CORE_BASE_WATCHED_MEMORY_H
#define KELVANE_TESTS_UNIT_CORE_BASE_WATCHED_MEMORY_H

#include <string>
#include <vector>

namespace watched_memory {

inline std::vector<std::string> wiped;

}  // namespace watched_memory

#endif
