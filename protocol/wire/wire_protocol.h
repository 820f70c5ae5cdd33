// The wire protocol: the operations table over the platform's wire server.
#ifndef KELVANE_PROTOCOL_WIRE_WIRE_PROTOCOL_H
#define KELVANE_PROTOCOL_WIRE_WIRE_PROTOCOL_H

#include "protocol/protocol.h"

namespace kelvane {

// The table; static, never freed. No side effects.
const Protocol *ProtocolGetWire();

}  // namespace kelvane

#endif
