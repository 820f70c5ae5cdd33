#include "protocol/wire/goal_state.h"

#include "core/base/xml.h"
#include "telemetry/telemetry.h"

namespace kelvane {

namespace {

GoalState gsGoalState;

struct Element {
  const char *name;
  Text GoalState::*field;
};

constexpr Element kElements[] = {
    {"Incarnation", &GoalState::incarnation},
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

}  // namespace

const GoalState *goal_state() {
  return &gsGoalState;
}

void goal_state_parse(const Buffer *document) {
  const XmlOwner xml = xml_load(document->data, document->length);
  if (!xml.present()) {
    return;
  }
  for (const Element &element : kElements) {
    Text text = xml_find_text(xml.get(), element.name);
    if (text.present()) {
      gsGoalState.*element.field = static_cast<Text &&>(text);
    }
  }
  if (gsGoalState.container_id.present()) {
    TelemetrySetContainerId(gsGoalState.container_id.get());
  }
}

void goal_state_release() {
  for (const Element &element : kElements) {
    (gsGoalState.*element.field).reset();
  }
}

}  // namespace kelvane
