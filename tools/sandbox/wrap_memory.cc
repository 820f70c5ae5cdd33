// The wrapped allocations. Only the agent's own objects are linked to these: what a library allocates for itself, for
// the platform or for the sandbox is not counted and does not fail. The subject of a site is the size, and the place in
// the program that asked for it, as addr2line takes it.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "tools/sandbox/world.h"

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
extern const char __executable_start;
}

namespace {

bool fails(const char *call, size_t size, const void *caller) {
  sandbox::World &w = sandbox::world();
  if (!w.agent_calls()) {
    return false;
  }
  char subject[64];
  const auto place = reinterpret_cast<uintptr_t>(caller) - reinterpret_cast<uintptr_t>(&__executable_start);
  std::snprintf(subject, sizeof subject, "%zu at 0x%zx", size, static_cast<size_t>(place));
  const bool failing = w.strike("memory", call, subject) != 0;
  errno = failing ? ENOMEM : errno;
  return failing;
}

}  // namespace

extern "C" {

void *__wrap_malloc(size_t size) {
  return fails("malloc", size, __builtin_return_address(0)) ? nullptr : __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size) {
  return fails("calloc", count * size, __builtin_return_address(0)) ? nullptr : __real_calloc(count, size);
}

void *__wrap_realloc(void *block, size_t size) {
  return fails("realloc", size, __builtin_return_address(0)) ? nullptr : __real_realloc(block, size);
}

}  // extern "C"
