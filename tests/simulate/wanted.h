// What the cloud wants of the appliance: its revisions, one incarnation after the other.
#ifndef KELVANE_TESTS_SIMULATE_WANTED_H
#define KELVANE_TESTS_SIMULATE_WANTED_H

#include <string>

#include "tests/simulate/world.h"

namespace simulate {

// The first revision of a new world, and the next one: something of the current one changes.
void cloud_begin();
void cloud_publish();

// The command that configures the event hub with this identifier, and what else it configures.
inline constexpr char kHubKey[] = "key";
inline constexpr char kHubPolicy[] = "policy";
inline constexpr char kHubName[] = "hub";
inline constexpr char kHubNamespace[] = "namespace";
std::string hub_command(const std::string &operation, const std::string &appliance);

// The command that CustomScript finds in these settings, empty for none; and the identifier that it configures.
std::string command_of(const Wanted &wanted);
std::string appliance_of(const Wanted &wanted);

}  // namespace simulate

#endif
