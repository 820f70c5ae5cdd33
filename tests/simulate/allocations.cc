#include "tests/simulate/allocations.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "tests/simulate/pool.h"

#if defined(__SANITIZE_ADDRESS__)
#define SIMULATE_HOOKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SIMULATE_HOOKS 1
#endif
#endif

namespace {

constexpr size_t kSizes = 2048;  // longer blocks are counted as one size

size_t gsBytes = 0;
int32_t gsBlocks[kSizes];
int32_t gsMarked[kSizes];

}  // namespace

namespace simulate {

size_t allocations_bytes() {
  return gsBytes;
}

void allocations_mark() {
  std::memcpy(gsMarked, gsBlocks, sizeof gsMarked);
}

std::string allocations_since_mark() {
  std::string text;
  for (size_t size = 0; size < kSizes && text.size() < 200; size++) {
    if (gsBlocks[size] > gsMarked[size]) {
      text += (text.empty() ? "" : ", ") + std::to_string(gsBlocks[size] - gsMarked[size]) + " of " +
              std::to_string(size) + (size == kSizes - 1 ? " or more" : "");
    }
  }
  return text;
}

}  // namespace simulate

namespace {

void count_taken(size_t size) {
  gsBytes += size;
  ++gsBlocks[std::min(size, kSizes - 1)];
}

void count_given(size_t size) {
  gsBytes -= size;
  --gsBlocks[std::min(size, kSizes - 1)];
}

}  // namespace

#if defined(SIMULATE_HOOKS)

// Not every compiler that has them has their header.
extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*taken)(const volatile void *, size_t),
                                              void (*given)(const volatile void *));
size_t __sanitizer_get_allocated_size(const volatile void *block);
}

// The sanitizer's own malloc stays, and tells of each block. Only while the simulation asks for one of its own it is
// not listened to.
namespace {

volatile bool gsOwn = false;  // the compiler takes malloc for a call that reads nothing

void told_taken(const volatile void *, size_t size) {
  if (!gsOwn) {
    count_taken(size);
  }
}

void told_given(const volatile void *block) {
  if (!gsOwn && block != nullptr) {
    count_given(__sanitizer_get_allocated_size(block));
  }
}

const int gsHooks = __sanitizer_install_malloc_and_free_hooks(told_taken, told_given);

}  // namespace

void *operator new(size_t size) {
  gsOwn = true;
  void *block = std::malloc(size);
  gsOwn = false;
  if (block == nullptr) {
    std::abort();
  }
  return block;
}

void operator delete(void *block) noexcept {
  gsOwn = true;
  std::free(block);
  gsOwn = false;
}

#else

using simulate::kPoolAlignment;
using simulate::pool_give;
using simulate::pool_size;
using simulate::pool_take;

namespace {

void *take(size_t alignment, size_t size) {
  void *block = pool_take(alignment, size);
  if (block == nullptr) {
    errno = ENOMEM;
    return nullptr;
  }
  count_taken(size);
  return block;
}

}  // namespace

extern "C" {

void *malloc(size_t size) {
  return take(kPoolAlignment, size);
}

void free(void *block) {
  if (block == nullptr) {
    return;
  }
  const size_t size = pool_size(block);
  pool_give(block);
  count_given(size);
}

void *calloc(size_t count, size_t size) {
  size_t bytes = 0;
  if (__builtin_mul_overflow(count, size, &bytes)) {
    errno = ENOMEM;
    return nullptr;
  }
  void *block = malloc(bytes);
  return block != nullptr ? std::memset(block, 0, bytes) : nullptr;
}

// Always moves the block: an agent that keeps the old address is found out.
void *realloc(void *block, size_t size) {
  if (block != nullptr && size == 0) {
    free(block);
    return nullptr;
  }
  void *made = malloc(size);
  if (made != nullptr && block != nullptr) {
    const size_t old = pool_size(block);
    std::memcpy(made, block, old < size ? old : size);
    free(block);
  }
  return made;
}

void *memalign(size_t alignment, size_t size) {
  return take(alignment, size);
}

void *aligned_alloc(size_t alignment, size_t size) {
  return memalign(alignment, size);
}

int posix_memalign(void **block, size_t alignment, size_t size) {
  *block = memalign(alignment, size);
  return *block != nullptr ? 0 : ENOMEM;
}

}  // extern "C"

void *operator new(size_t size) {
  void *block = pool_take(kPoolAlignment, size);
  if (block == nullptr) {
    std::abort();
  }
  return block;
}

void operator delete(void *block) noexcept {
  if (block != nullptr) {
    pool_give(block);
  }
}

#endif

void operator delete(void *block, size_t) noexcept {
  operator delete(block);
}
