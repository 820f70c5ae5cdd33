#include "tools/fabric/world.h"

#include <algorithm>

#include "tools/fabric/documents.h"

namespace kelvane::fabric {

World::World(Scenario scenario) : scenario_(std::move(scenario)), tenant_(scenario_.tenant) {}

bool World::advance() {
  if (current_ + 1 >= scenario_.goal_states.size()) return false;
  current_++;
  delivered_of_current_ = 0;
  return true;
}

void World::goal_state_delivered(const std::string &missing) {
  const GoalStateSpec &state = goal_state();
  for (const GoalStateValue &value : goal_state_values(state, scenario_.endpoint)) {
    bool omitted = std::find(state.omit.begin(), state.omit.end(), value.element) != state.omit.end();
    // What a goal state leaves out, the agent keeps from an earlier one.
    if (!omitted && value.element != missing) known_[value.element] = value.value;
  }
  delivered_++;
  delivered_of_current_++;
  if (state.advance_after != 0 && delivered_of_current_ >= state.advance_after) advance();
}

}  // namespace kelvane::fabric
