// The passwords that each account has had. Blocks for as long as the reading does; throws std::runtime_error.
#ifndef KELVANE_TESTS_TORTURE_HISTORY_H
#define KELVANE_TESTS_TORTURE_HISTORY_H

#include <string>

#include "tests/scenario/run/appliance.h"

namespace torture {

// The newest of each account's, in words. Older ones are no part of it: they tell which goal states an appliance lived
// through, and how often a first boot was repeated.
scenario::Json newest_passwords(const std::string &root, const scenario::Json &scenario);

}  // namespace torture

#endif
