// The one function that a platform supplies for the conformance suite, in its library kelvane-platform-reset. The suite
// calls it before each test, in a process that is not connected: it makes the next conf_init find no configuration at
// all, as on a new appliance, and the debug record zeroed. It may throw when that cannot be done.
#ifndef KELVANE_TESTS_PLATFORM_RESET_H
#define KELVANE_TESTS_PLATFORM_RESET_H

void platform_conformance_reset();

#endif
