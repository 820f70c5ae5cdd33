// Allocations of the agent's that are refused by their size. A program that links kelvane-refused-memory has its malloc
// and realloc replaced, for its own objects alone; what libraries ask for is theirs. Nothing blocks.
#ifndef KELVANE_TESTS_SUPPORT_REFUSED_MEMORY_H
#define KELVANE_TESTS_SUPPORT_REFUSED_MEMORY_H

#include <stddef.h>

namespace refused_memory {

// Refuses every malloc and realloc of exactly so many bytes for as long as it lives.
class Refusal {
 public:
  explicit Refusal(size_t size);
  ~Refusal();
  Refusal(const Refusal &) = delete;
  Refusal &operator=(const Refusal &) = delete;
};

}  // namespace refused_memory

#endif
