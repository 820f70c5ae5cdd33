// The telemetry event queue: events wait here, first in first out, until the upload takes them. Any part of the agent
// may queue one. Never blocks; a failed allocation drops the event silently. There is no limit: under the metadata
// protocol nothing drains the queue.
#ifndef KELVANE_TELEMETRY_EVENT_QUEUE_H
#define KELVANE_TELEMETRY_EVENT_QUEUE_H

#include <stdint.h>

#include "core/base/xml.h"

namespace kelvane {

enum TelemetryOperation : int32_t {
  kTelemetryUnknown = 0,
  kTelemetryHeartBeat = 1,
  kTelemetryProvision = 2,
  kTelemetryInstall = 3,
  kTelemetryUnInstall = 4,
  kTelemetryDisable = 5,
  kTelemetryEnable = 6,
  kTelemetryDownload = 7,
  kTelemetryUpgrade = 8,
  kTelemetryUpdate = 9,
  kTelemetryHealthCheck = 10,
  kTelemetryRestart = 11,
};

// Queues an event. operation is one of the numbers above; success is 0 for a failure; null texts count as empty.
void AddExtensionEvent(const char *name, int32_t operation, int32_t success, uint64_t duration, const char *version,
                       const char *message_text);

// Takes the oldest event out of the queue: an "Event" element that the caller owns, or null.
mxml_node_t *event_queue_take();

// Whether events wait.
bool event_queue_waiting();

}  // namespace kelvane

#endif
