// What was overwritten as a secret. A program that links kelvane-watched-memory has its explicit_bzero replaced, under
// both names: hardened builds call a checked one. Nothing fails, nothing blocks.
#ifndef KELVANE_TESTS_SUPPORT_WATCHED_MEMORY_H
#define KELVANE_TESTS_SUPPORT_WATCHED_MEMORY_H

#include <string>
#include <vector>

namespace watched_memory {

// What each piece of memory held when it was wiped, in order since the program started; tests empty it.
inline std::vector<std::string> wiped;

}  // namespace watched_memory

#endif
