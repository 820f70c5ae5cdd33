#include "tools/fabric/world.h"

#include <algorithm>

#include "tools/fabric/bytes.h"
#include "tools/fabric/documents.h"

namespace kelvane::fabric {

World::World(Scenario scenario) : storage(scenario), scenario_(std::move(scenario)), tenant_(scenario_.tenant) {}

World::World(Scenario scenario, World &&other)
    : storage(scenario), scenario_(std::move(scenario)), tenant_(std::move(other.tenant_)) {}

bool World::advance() {
  if (current_ + 1 >= scenario_.goal_states.size()) return false;
  current_++;
  delivered_of_current_ = 0;
  answered_of_current_ = 0;
  return true;
}

void World::goal_state_delivered(const std::string &missing) {
  const GoalStateSpec &state = goal_state();
  for (const GoalStateValue &value : goal_state_values(state, scenario_.endpoint)) {
    bool omitted = std::find(state.omit.begin(), state.omit.end(), value.element) != state.omit.end();
    // What a goal state leaves out, the agent keeps from an earlier one.
    if (omitted || value.element == missing) continue;
    known_[value.element] = value.value;
    if (value.element == "ContainerId") container_ids_.push_back(value.value);
  }
  // Never by operator[]: what was not told must not come to be known as an empty text.
  const auto incarnation = known_.find("Incarnation");
  if (incarnation != known_.end()) storage.goal_state_told(incarnation->second);
  delivered_++;
  delivered_of_current_++;
  if (state.advance_after != 0 && delivered_of_current_ >= state.advance_after) advance();
}

void World::request_answered(const Request &request) {
  const AdvanceSpec &on = goal_state().advance_on;
  if (on.count == 0 || !glob_match(on.target, request.target)) return;
  if (!on.method.empty() && on.method != request.method) return;
  if (++answered_of_current_ >= on.count) advance();
}

}  // namespace kelvane::fabric
