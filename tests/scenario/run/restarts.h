// The restart matrix: the steps of a scenario, played once without a restart, and then once for every place where the
// agent may be ended and started again, by every signal. Every play has a fresh appliance, a fabric of its own and the
// virtual clock, and must end in the same configuration tables, the same status file and the same last status document
// as the first. Blocks for seconds a play; throws std::runtime_error when something cannot be played.
#ifndef KELVANE_TESTS_SCENARIO_RUN_RESTARTS_H
#define KELVANE_TESTS_SCENARIO_RUN_RESTARTS_H

#include <string>

#include "tests/scenario/run/day.h"

namespace scenario {

// The report on all plays; empty when all fits. The scenario has "steps" and "restarts".
std::string play_restarts(const Programs &programs, const Json &scenario, const std::string &folder);

}  // namespace scenario

#endif
