// The main loop's two timers, told a second time: in which of its turns events are posted and in which there is a pass;
// and the restart, which is served by the first turn that begins after it was asked for.
#ifndef KELVANE_TESTS_SIMULATE_LOOP_WATCH_H
#define KELVANE_TESTS_SIMULATE_LOOP_WATCH_H

namespace simulate {

// The second of sleep that each turn begins with: before it and after it.
void loop_watch_sleeps();
void loop_watch_wakes();

// A look at the event queue ends; and whether events are left. A pass begins. Breaks off when it is not due.
void loop_watch_posted(bool more);
void loop_watch_pass();

}  // namespace simulate

#endif
