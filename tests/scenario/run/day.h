// One play of a scenario's steps on the virtual clock: a fresh appliance, a fabric of its own, and the agent, which may
// be ended once and started again where the clock stands. A step lasts two extension passes: one that finds the step's
// goal state new, and one that finds it known. Blocks for seconds; throws std::runtime_error.
#ifndef KELVANE_TESTS_SCENARIO_RUN_DAY_H
#define KELVANE_TESTS_SCENARIO_RUN_DAY_H

#include <optional>
#include <string>
#include <vector>

#include "tests/scenario/run/appliance.h"

namespace scenario {

struct Programs {
  std::string sandbox;
  std::string fabric;
  std::string key;  // the file for the sandbox's option of that name
};

// Where the agent is ended: in a step, before the pass that finds its goal state new, or after it.
struct Restart {
  size_t step = 0;
  bool after = false;
  int signal = 0;
};

// What a play ended in.
struct Outcome {
  Json tables;                // each table, with its children; what differs by chance put in words
  std::string plugin_status;  // the status file
  Json documents;             // the status documents, as the fabric tells them
  std::string report;         // what went wrong already
};

// The steps that are a goal state: those that are not a restart.
std::vector<Json> goal_state_steps(const Json &scenario);

Outcome play_day(const Programs &programs, const Json &scenario, const std::optional<Restart> &restart,
                 const std::string &folder);

}  // namespace scenario

#endif
