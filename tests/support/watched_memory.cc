#include "tests/support/watched_memory.h"

#include <cstddef>

extern "C" {

void __real_explicit_bzero(void *memory, size_t size);
void __wrap_explicit_bzero(void *memory, size_t size);
void __wrap___explicit_bzero_chk(void *memory, size_t size, size_t room);

void __wrap_explicit_bzero(void *memory, size_t size) {
  watched_memory::wiped.emplace_back(static_cast<const char *>(memory), size);
  __real_explicit_bzero(memory, size);
}

// What the call becomes in a hardened build.
void __wrap___explicit_bzero_chk(void *memory, size_t size, size_t) {
  __wrap_explicit_bzero(memory, size);
}

}  // extern "C"
