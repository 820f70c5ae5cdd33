// What must hold at every extension pass. A pass that breaks one ends the life with what broke (world.h).
#ifndef KELVANE_TESTS_SIMULATE_INVARIANTS_H
#define KELVANE_TESTS_SIMULATE_INVARIANTS_H

#include <cstdint>

namespace simulate {

// Before the first line of a life, and around each of its passes.
void invariants_begin_life();
void invariants_begin_pass();
void invariants_end_pass();

// An event of this operation was queued.
void invariants_event_queued(int32_t operation);

// A look at the queue is over: how many events had been posted before it, and whether it says that more wait.
void invariants_events_posted(uint64_t before, int32_t more);

}  // namespace simulate

#endif
