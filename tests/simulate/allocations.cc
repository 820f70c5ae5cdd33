#include "tests/simulate/allocations.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

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

extern "C" {

void *__libc_malloc(size_t size);
void __libc_free(void *block);

}  // extern "C"

namespace {

int32_t *blocks_of(size_t size) {
  return &gsBlocks[size < kSizes ? size : kSizes - 1];
}

// In front of every block that is counted.
struct alignas(16) Head {
  size_t size;
  void *whole;
};

void *take(size_t alignment, size_t size) {
  if (size > SIZE_MAX - alignment - sizeof(Head)) {
    errno = ENOMEM;
    return nullptr;
  }
  void *whole = __libc_malloc(sizeof(Head) + alignment - alignof(Head) + size);
  if (whole == nullptr) {
    return nullptr;
  }
  const uintptr_t block = (reinterpret_cast<uintptr_t>(whole) + sizeof(Head) + alignment - 1) & ~(alignment - 1);
  *(reinterpret_cast<Head *>(block) - 1) = {size, whole};
  gsBytes += size;
  ++*blocks_of(size);
  return reinterpret_cast<void *>(block);
}

}  // namespace

extern "C" {

void *malloc(size_t size) {
  return take(alignof(Head), size);
}

void free(void *block) {
  if (block == nullptr) {
    return;
  }
  const Head *head = static_cast<Head *>(block) - 1;
  gsBytes -= head->size;
  --*blocks_of(head->size);
  __libc_free(head->whole);
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

void *realloc(void *block, size_t size) {
  if (block != nullptr && size == 0) {
    free(block);
    return nullptr;
  }
  void *made = malloc(size);
  if (made != nullptr && block != nullptr) {
    const size_t old = (static_cast<Head *>(block) - 1)->size;
    std::memcpy(made, block, old < size ? old : size);
    free(block);
  }
  return made;
}

void *memalign(size_t alignment, size_t size) {
  return take(alignment > alignof(Head) ? alignment : alignof(Head), size);
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
  void *block = __libc_malloc(size);
  if (block == nullptr) {
    std::abort();
  }
  return block;
}

void operator delete(void *block) noexcept {
  __libc_free(block);
}

void operator delete(void *block, size_t) noexcept {
  __libc_free(block);
}

#endif
