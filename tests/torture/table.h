// What came of a torture: the table at its end, what no play came to need, and the status to end with. Prints, and does
// nothing else.
#ifndef KELVANE_TESTS_TORTURE_TABLE_H
#define KELVANE_TESTS_TORTURE_TABLE_H

#include <vector>

#include "tests/torture/options.h"
#include "tests/torture/state.h"

namespace torture {

// 0: every strike that was played fell and was survived; 1: not so; 2: none was played.
int sum_up(const Options &options, const std::vector<Strike> &plan, const State &state);

}  // namespace torture

#endif
