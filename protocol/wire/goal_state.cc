#include "protocol/wire/goal_state.h"

#include "core/base/log.h"
#include "core/base/xml.h"
#include "telemetry/telemetry.h"

namespace kelvane {

namespace {

GoalState gsGoalState;

struct Element {
  const char *name;
  Text GoalState::*field;
};

// Taken last: while it is the old one, the next pass takes the goal state for a new one. Where there is none yet the
// reports need it, whatever else is missing.
constexpr Element kIncarnation = {"Incarnation", &GoalState::incarnation};

constexpr Element kElements[] = {
    {"ExpectedState", &GoalState::expected_state},
    {"HostingEnvironmentConfig", &GoalState::hosting_environment_uri},
    {"SharedConfig", &GoalState::shared_config_uri},
    {"ExtensionsConfig", &GoalState::extensions_config_uri},
    {"InstanceId", &GoalState::instance_id},
    {"ConfigName", &GoalState::config_name},
    {"Certificates", &GoalState::certificates_uri},
    {"ContainerId", &GoalState::container_id},
    {"Port", &GoalState::probe_port},
};

// Whether nothing was lost for want of memory.
bool take(mxml_node_t *document, const Element &element) {
  return xml_take_text(document, element.name, &(gsGoalState.*element.field)) == 0;
}

bool take_all(mxml_node_t *document) {
  bool complete = true;
  for (const Element &element : kElements) {
    complete = take(document, element) && complete;
  }
  if (complete || !gsGoalState.incarnation.present()) {
    complete = take(document, kIncarnation) && complete;
  }
  return complete;
}

}  // namespace

const GoalState *goal_state() {
  return &gsGoalState;
}

void goal_state_parse(const Buffer *document) {
  bool no_memory = false;
  const XmlOwner xml = xml_load(document->data, document->length, &no_memory);
  if (!xml.present() && !no_memory) {
    return;
  }
  gsGoalState.incomplete = no_memory || !take_all(xml.get());
  if (gsGoalState.incomplete) {
    LOG_ABOVE(0, "[kelvane]: no memory for the goal state, the next pass takes it again\n");
  }
  if (gsGoalState.container_id.present()) {
    TelemetrySetContainerId(gsGoalState.container_id.get());
  }
}

void goal_state_release() {
  gsGoalState.incomplete = false;
  gsGoalState.incarnation.reset();
  for (const Element &element : kElements) {
    (gsGoalState.*element.field).reset();
  }
}

}  // namespace kelvane
