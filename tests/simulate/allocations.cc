#include "tests/simulate/allocations.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "tests/simulate/pool.h"

#if defined(__SANITIZE_ADDRESS__)
#define SIMULATE_COUNTS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SIMULATE_COUNTS 0
#endif
#endif
#ifndef SIMULATE_COUNTS
#define SIMULATE_COUNTS 1
#endif

namespace {

constexpr size_t kSizes = 2048;  // longer blocks are counted as one size

size_t gsBytes = 0;
int32_t gsBlocks[kSizes];
int32_t gsMarked[kSizes];

}  // namespace

namespace simulate {

bool allocations_counted() {
  return SIMULATE_COUNTS != 0;
}

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

#if SIMULATE_COUNTS

using simulate::kPoolAlignment;
using simulate::pool_give;
using simulate::pool_size;
using simulate::pool_take;

namespace {

int32_t *blocks_of(size_t size) {
  return &gsBlocks[size < kSizes ? size : kSizes - 1];
}

void *take(size_t alignment, size_t size) {
  void *block = pool_take(alignment, size);
  if (block == nullptr) {
    errno = ENOMEM;
    return nullptr;
  }
  gsBytes += size;
  ++*blocks_of(size);
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
  gsBytes -= size;
  --*blocks_of(size);
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

// The rest of the family is made of these two.
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

void operator delete(void *block, size_t) noexcept {
  operator delete(block);
}

#endif
