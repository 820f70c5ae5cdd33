#include "protocol/wire/reports.h"

#include <stdio.h>

#include "core/base/buffer.h"
#include "core/base/log.h"
#include "core/base/text.h"
#include "protocol/wire/endpoint.h"
#include "protocol/wire/goal_state.h"
#include "protocol/wire/http_client.h"

namespace kelvane {

namespace {

constexpr size_t kHealthSize = 4096;
constexpr size_t kDetailsSize = 2048;
constexpr size_t kRolePropertiesSize = 2048;

constexpr const char kHealth[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
    "<Health xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">"
    "<GoalStateIncarnation>%s</GoalStateIncarnation>"
    "<Container><ContainerId>%s</ContainerId>"
    "<RoleInstanceList><Role><InstanceId>%s</InstanceId>"
    "<Health><State>%s</State>%s</Health>"
    "</Role></RoleInstanceList></Container></Health>";

constexpr const char kDetails[] = "<Details><SubStatus>%s</SubStatus><Description>%s</Description></Details>";

constexpr const char kRoleProperties[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>"
    "<RoleProperties><Container><ContainerId>%s</ContainerId>"
    "<RoleInstances><RoleInstance><Id>%s</Id>"
    "<Properties><Property name=\"CertificateThumbprint\" value=\"%s\" /></Properties>"
    "</RoleInstance></RoleInstances></Container></RoleProperties>";

const char *known(const Text &value) {
  return text_or(value.get(), "");
}

void post(const char *url, const char *document) {
  BufferOwner request;
  BufferOwner response;
  __makeBuffer(request.get(), document);
  if (request.empty()) {
    LOG_ABOVE(0, "[kelvane]: no memory for a report to %s, it is not sent\n", url);
    return;
  }
  __WireClient_call_wireserver(1, url, wire_post_headers(), request.get(), response.get());
}

}  // namespace

void report_health(const char *state, const char *substatus, const char *description) {
  char details[kDetailsSize] = "";
  if (substatus != nullptr) {
    snprintf(details, sizeof details, kDetails, substatus, text_or(description, ""));
  }
  const GoalState *goal = goal_state();
  char document[kHealthSize];
  snprintf(document, sizeof document, kHealth, known(goal->incarnation), known(goal->container_id),
           known(goal->instance_id), state, details);
  post(wire_urls()->health, document);
}

void report_role_properties(const char *thumbprint) {
  const GoalState *goal = goal_state();
  char document[kRolePropertiesSize];
  snprintf(document, sizeof document, kRoleProperties, known(goal->container_id), known(goal->instance_id), thumbprint);
  post(wire_urls()->role_properties, document);
}

}  // namespace kelvane
