// Allocations of the agent that fail on demand; libraries and the C++ run time are not touched. All are off at 0.
#ifndef KELVANE_TESTS_UNIT_PROTOCOL_ALLOCATION_SPIES_H
#define KELVANE_TESTS_UNIT_PROTOCOL_ALLOCATION_SPIES_H

#include <cstddef>

namespace spies {

// The n-th malloc, or realloc, from now on fails.
extern int refuse_malloc;
extern int refuse_realloc;

// Every calloc of records of this size fails.
extern size_t refuse_calloc_of;

}  // namespace spies

#endif
