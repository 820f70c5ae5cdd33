// The first boot: every start without the marker does all of it again, and the marker says that all of it was done. A
// start with the marker touches nothing of it.
#ifndef KELVANE_TESTS_SIMULATE_FIRST_BOOT_H
#define KELVANE_TESTS_SIMULATE_FIRST_BOOT_H

namespace simulate {

// A life begins: what its marker promises is there.
void first_boot_begin_life();

// Whether this life has to do it.
bool first_boot_ahead();

// The start is done with the medium, which could be mounted or not.
void first_boot_media_read(bool mounted);

// A call failed that may have been part of it.
void first_boot_call_failed();

// The start is over, the first pass begins.
void first_boot_over();
bool first_boot_is_over();  // in this life

}  // namespace simulate

#endif
