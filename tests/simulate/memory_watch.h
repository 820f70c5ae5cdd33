// Memory in states that are alike. A pass that leaves the agent where the pass before left it must leave as many bytes,
// the events that wait taken off; and when the cloud wants nothing at all, as many as the first time that it wanted
// nothing since the registry met its last new name and since the tenant's key came through.
#ifndef KELVANE_TESTS_SIMULATE_MEMORY_WATCH_H
#define KELVANE_TESTS_SIMULATE_MEMORY_WATCH_H

#include <cstddef>

namespace simulate {

// An event of so many bytes was queued. Events leave the queue in their order (sent.h counts them).
void memory_watch_event(size_t bytes);

// A pass is over and everything else about it was found right.
void memory_watch_pass();

}  // namespace simulate

#endif
