// The wire protocol: the operations table over the platform's wire server. Start-up takes the table once an endpoint
// was found; every operation runs on the main thread and blocks for as long as its requests and their retries take.
// Failures end in the log: of the results only those of detect and report_event say anything.
#ifndef KELVANE_PROTOCOL_WIRE_WIRE_PROTOCOL_H
#define KELVANE_PROTOCOL_WIRE_WIRE_PROTOCOL_H

#include "protocol/protocol.h"

namespace kelvane {

// The table; static, never freed. No side effects.
const Protocol *ProtocolGetWire();

}  // namespace kelvane

#endif
