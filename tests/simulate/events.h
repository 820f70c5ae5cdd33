// What happens to the appliance as time passes: the cloud changes its mind, the agent is restarted or asked to dump its
// state, the power goes, the clock jumps. The one place where the clock moves.
#ifndef KELVANE_TESTS_SIMULATE_EVENTS_H
#define KELVANE_TESTS_SIMULATE_EVENTS_H

#include <cstdint>

namespace simulate {

// Draws when everything happens for the first time.
void events_begin();

// A life begins.
void events_begin_life();

// Lets time pass; what falls due happens at its second. Ends the life when that is what happens.
void pass_time(int64_t seconds);

// A call that changes what is kept: the power may go just then.
void power_may_go(const char *call);

// What a power cut leaves of the disk: files under /tmp are gone, and the file that was written last may be.
void power_cut();

}  // namespace simulate

#endif
