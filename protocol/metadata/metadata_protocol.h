// The metadata protocol: the operations table over the instance metadata service, used when no wire-server endpoint was
// learned. Will own the eight resource URLs, the ETag, the last documents and the converted handler list; at present
// its operations answer as an unreachable service would: nothing is fetched, nothing is reported.
#ifndef KELVANE_PROTOCOL_METADATA_METADATA_PROTOCOL_H
#define KELVANE_PROTOCOL_METADATA_METADATA_PROTOCOL_H

#include "protocol/protocol.h"

namespace kelvane {

// The table; static, never freed.
const Protocol *ProtocolGetMetaData();

}  // namespace kelvane

#endif
