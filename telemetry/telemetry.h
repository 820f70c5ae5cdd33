// Telemetry: the context that every event carries. Will own the event queue and its upload; at present it keeps the
// context, and a pass has nothing to send. Best effort: it must never hold up or fail a pass.
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

// Frees the context texts.
void TelemetryCleanup();

// One telemetry pass. 1 while events remain queued, 0 when the queue is empty, -1 when the request document could not
// be created.
int32_t EventHandler_Process();

}  // namespace kelvane

#endif
