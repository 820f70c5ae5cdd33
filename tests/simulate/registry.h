// The agent's plugins, and the event hub's record that one of them writes, against what they should be.
#ifndef KELVANE_TESTS_SIMULATE_REGISTRY_H
#define KELVANE_TESTS_SIMULATE_REGISTRY_H

#include "plugins/plugin.h"
#include "tests/simulate/world.h"

namespace simulate {

State state_of(const kelvane::Plugin &plugin);

// A pass is over.
void check_plugins();

}  // namespace simulate

#endif
