// The configuration below a root folder in a form in which two appliances can be compared: every table with its
// children, the SSH keys, the system events, and in words what differs by chance. Blocks for as long as the look-ups
// do; throws std::runtime_error.
#ifndef KELVANE_TESTS_SCENARIO_RUN_TABLES_H
#define KELVANE_TESTS_SCENARIO_RUN_TABLES_H

#include <string>
#include <vector>

#include "tests/scenario/run/appliance.h"

namespace scenario {

// Stored passwords, which have a salt each, are told by the clear password of the scenario that fits, and keys that the
// fabric made by being made.
Json tables_in_words(const std::string &root, const Json &scenario);

// The clear passwords of a scenario, and which of them a stored one belongs to.
std::vector<std::string> known_passwords(const Json &scenario);
std::string password_in_words(const std::string &stored, const std::vector<std::string> &known);

}  // namespace scenario

#endif
