#include "tests/simulate/pool.h"

#include <cstdint>
#include <cstdlib>

extern "C" {

void *__libc_malloc(size_t size);
void __libc_free(void *block);

}  // extern "C"

namespace simulate {

namespace {

constexpr size_t kLargest = 2048;  // of the lists; longer blocks are the C library's
constexpr size_t kChunk = size_t{1} << 20;

// In front of every block.
struct alignas(kPoolAlignment) Head {
  union {
    size_t size;
    Head *next;  // of a free one
  };
  void *whole;  // what the C library gave, or kListed; null for one that is free
};

Head *gsFree[kLargest / kPoolAlignment + 1];
char *gsAt = nullptr;  // the rest of the last chunk
char *gsEnd = nullptr;

void *const kListed = gsFree;

size_t row_of(size_t size) {
  return (size + kPoolAlignment - 1) / kPoolAlignment;
}

Head *head_of(void *block) {
  return static_cast<Head *>(block) - 1;
}

Head *carve(size_t size) {
  if (static_cast<size_t>(gsEnd - gsAt) < size) {
    gsAt = static_cast<char *>(__libc_malloc(kChunk));
    if (gsAt == nullptr) {
      gsEnd = nullptr;
      return nullptr;
    }
    gsEnd = gsAt + kChunk;
  }
  auto *head = reinterpret_cast<Head *>(gsAt);
  gsAt += size;
  return head;
}

void *take_listed(size_t size) {
  const size_t row = row_of(size);
  Head *head = gsFree[row];
  if (head != nullptr) {
    gsFree[row] = head->next;
  } else {
    head = carve(sizeof(Head) + row * kPoolAlignment);
  }
  if (head == nullptr) {
    return nullptr;
  }
  head->size = size;
  head->whole = kListed;
  return head + 1;
}

void *take_whole(size_t alignment, size_t size) {
  if (size > SIZE_MAX - alignment - sizeof(Head)) {
    return nullptr;
  }
  void *whole = __libc_malloc(sizeof(Head) + alignment - alignof(Head) + size);
  if (whole == nullptr) {
    return nullptr;
  }
  const uintptr_t block = (reinterpret_cast<uintptr_t>(whole) + sizeof(Head) + alignment - 1) & ~(alignment - 1);
  Head *head = reinterpret_cast<Head *>(block) - 1;
  head->size = size;
  head->whole = whole;
  return head + 1;
}

}  // namespace

void *pool_take(size_t alignment, size_t size) {
  return alignment <= kPoolAlignment && size <= kLargest
             ? take_listed(size)
             : take_whole(alignment > kPoolAlignment ? alignment : kPoolAlignment, size);
}

size_t pool_size(const void *block) {
  return (static_cast<const Head *>(block) - 1)->size;
}

void pool_give(void *block) {
  Head *head = head_of(block);
  if (head->whole == nullptr) {
    std::abort();
  }
  if (head->whole != kListed) {
    __libc_free(head->whole);
    return;
  }
  const size_t row = row_of(head->size);
  head->next = gsFree[row];
  head->whole = nullptr;
  gsFree[row] = head;
}

}  // namespace simulate
