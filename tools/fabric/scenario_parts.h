// The readers of a scenario's two big parts, one file each. Called by scenario.cc alone; they throw ScenarioError.
#ifndef KELVANE_TOOLS_FABRIC_SCENARIO_PARTS_H
#define KELVANE_TOOLS_FABRIC_SCENARIO_PARTS_H

#include "tools/fabric/json_fields.h"

namespace kelvane::fabric {

// Fills endpoint, media, tenant, goal states and faults from the `fabric` object.
void read_fabric_part(const Json &value, Scenario &scenario);

// Fills the expectations from the fabric's keys of the `expect` object; the keys of others are left alone.
void read_expect_part(const Json &value, Scenario &scenario);

// One fault; `path` names it in errors, `number` names it when it has no name.
FaultSpec read_fault(const Json &value, const std::string &path, size_t number);

// What a scenario that says nothing gets: one certificate, one goal state.
void fill_defaults(Scenario &scenario);

}  // namespace kelvane::fabric

#endif
