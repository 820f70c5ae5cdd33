// Where the simulation's malloc and operator new take their memory from: lists of free blocks by size, which cost a
// third of what the C library's do. A process has one thread, and what was taken once stays with it until it ends.
#ifndef KELVANE_TESTS_SIMULATE_POOL_H
#define KELVANE_TESTS_SIMULATE_POOL_H

#include <cstddef>

namespace simulate {

// What every block is aligned to at least.
inline constexpr size_t kPoolAlignment = 16;

// The alignment is a power of two. Null when there is no memory.
void *pool_take(size_t alignment, size_t size);

// The size that was asked for.
size_t pool_size(const void *block);

// Ends the process when a block of up to 2048 bytes was given back before; longer ones are the C library's affair.
void pool_give(void *block);

}  // namespace simulate

#endif
