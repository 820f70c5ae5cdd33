// What each plugin tells of itself when it is asked for its extension's status.
#ifndef KELVANE_TESTS_SIMULATE_TOLD_H
#define KELVANE_TESTS_SIMULATE_TOLD_H

#include <cstdint>
#include <string>

#include "tests/simulate/world.h"

namespace simulate {

// Empty and 0 for what is not told: of a plugin that is not installed that is everything.
struct Told {
  std::string applied, operation, status, message;
  int32_t sequence_number;
};

// By the row of the plugin's name.
Told told_of(int row, const Expected &plugin);

// As the agent writes a moment; empty for 0.
std::string time_text(int64_t at);

}  // namespace simulate

#endif
