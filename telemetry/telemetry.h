// The telemetry context: what every event says of the machine. Filled by start-up and the goal state, read by the event
// queue. Never blocks, never fails visibly: what is not known stays absent.
#ifndef KELVANE_TELEMETRY_TELEMETRY_H
#define KELVANE_TELEMETRY_TELEMETRY_H

#include <stdint.h>

namespace kelvane {

// What every event carries. Texts are lent until TelemetryCleanup; null while they are not known.
struct TelemetryContext {
  const char *tenant_name;
  const char *container_id;
  const char *role_name;
  const char *role_instance_name;
  const char *os_version;
  uint64_t ram_mebibytes;
  int32_t processors;
};

TelemetryContext telemetry_context();

// Call once at start-up: no wrapping of any XML that the agent writes, and what the machine is.
void TelemetryInit();

// Keep a copy of the text, only if none is kept yet. A null text is ignored.
void TelemetrySetTenantName(const char *text);
void TelemetrySetContainerId(const char *text);
void TelemetrySetRoleName(const char *text);
void TelemetrySetRoleInstanceName(const char *text);
void TelemetrySetOSVersion(const char *text);

// Frees the context texts. The queued events stay.
void TelemetryCleanup();

}  // namespace kelvane

#endif
