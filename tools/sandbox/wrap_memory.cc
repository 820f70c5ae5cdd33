// The wrapped allocations. Only the agent's own objects are linked to these: what a library allocates for itself, for
// the platform or for the sandbox is not counted and does not fail. The subject of a site is the size and the places in
// the program that led to the call, the innermost first, as addr2line takes them: "240 at 0x1a2b < 0x3c4d".
#include <execinfo.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

#include "tools/sandbox/world.h"

extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
extern const char __executable_start;
}

namespace {

std::string place_of(const void *address) {
  char text[32];
  const auto place = reinterpret_cast<uintptr_t>(address) - reinterpret_cast<uintptr_t>(&__executable_start);
  std::snprintf(text, sizeof text, "0x%zx", static_cast<size_t>(place));
  return text;
}

// From the caller of the wrapped call on.
std::string places_from(void *caller) {
  constexpr int kMost = 20;
  void *frames[kMost + 8];
  void **const end = frames + backtrace(frames, static_cast<int>(std::size(frames)));
  std::string out = place_of(caller);
  int places = 1;
  for (void **frame = std::find(frames, end, caller); frame < end && frame + 1 < end && places < kMost; ++places) {
    out += " < " + place_of(*++frame);
  }
  return out;
}

bool fails(const char *call, size_t size, void *caller) {
  sandbox::World &w = sandbox::world();
  if (!w.agent_calls()) {
    return false;
  }
  const bool failing = w.strike("memory", call, std::to_string(size) + " at " + places_from(caller)) != 0;
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
