// One event as the protocol's report_event takes it. Texts are borrowed.
#ifndef KELVANE_INCLUDE_TELEMETRY_RECORD_H
#define KELVANE_INCLUDE_TELEMETRY_RECORD_H

#include <stdint.h>

namespace kelvane {

struct TelemetryParameter {
  const char *name;
  const char *value;
};

struct TelemetryRecord {
  const char *event_id;
  const char *provider_id;
  int32_t parameter_count;  // 0 to 10
  TelemetryParameter parameters[10];
};

}  // namespace kelvane

#endif
