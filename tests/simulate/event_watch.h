// The events that the agent queues and posts: none is kept back, none is lost, and the heartbeats come when they are
// due.
#ifndef KELVANE_TESTS_SIMULATE_EVENT_WATCH_H
#define KELVANE_TESTS_SIMULATE_EVENT_WATCH_H

#include <cstdint>

namespace simulate {

void event_watch_begin_life();

// A pass is over.
void event_watch_pass();

// An event of this operation was queued.
void event_watch_queued(int32_t operation);

// A look at the queue is over: how many events had been posted before it, and whether it says that more wait.
void event_watch_posted(uint64_t before, int32_t more);

}  // namespace simulate

#endif
