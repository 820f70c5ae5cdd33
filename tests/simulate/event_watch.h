// The events that the agent queues and posts: none is kept back, none is lost, and the heartbeats come when they are
// due.
#ifndef KELVANE_TESTS_SIMULATE_EVENT_WATCH_H
#define KELVANE_TESTS_SIMULATE_EVENT_WATCH_H

#include <cstdint>

namespace simulate {

void event_watch_begin_life();

// A pass begins; and is over: what it queued tells of its commands and of the status blob's type, and of nothing else.
void event_watch_begin_pass();
void event_watch_end_pass();

// An event of this operation was queued.
void event_watch_queued(int32_t operation, int32_t success);

// A look at the queue begins; and is over: whether it says that more events wait.
void event_watch_post();
void event_watch_posted(int32_t more);

}  // namespace simulate

#endif
