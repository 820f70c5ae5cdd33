// The platform in memory, beyond platform.h.
#ifndef KELVANE_TESTS_SIMULATE_PLATFORM_MEMORY_H
#define KELVANE_TESTS_SIMULATE_PLATFORM_MEMORY_H

namespace simulate {

// Makes the RSA key that every start of the agent is given, once for the whole run.
void platform_make_key();

}  // namespace simulate

#endif
