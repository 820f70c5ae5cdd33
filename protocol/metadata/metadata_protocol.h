// The metadata protocol: the operations table over the platform's instance metadata service, taken when no wire-server
// endpoint was learned. The service's documents are JSON at fixed URLs; a change shows itself by the ETag. Owns no
// state beyond metadata_state. Each operation blocks for as long as its requests take: half a minute for each document
// that cannot be fetched or reported, a minute and a half for the list of certificates. Failed reports are never
// returned. Events queued by telemetry are not sent under this protocol: the main loop's event pass ends at once.
#ifndef KELVANE_PROTOCOL_METADATA_METADATA_PROTOCOL_H
#define KELVANE_PROTOCOL_METADATA_METADATA_PROTOCOL_H

#include "protocol/protocol.h"

namespace kelvane {

// Builds the eight URLs, at every call. The table; static, never freed.
//
// Its slot 3 returns a document: a json_object reference of the caller's own, or 0.
const Protocol *ProtocolGetMetaData();

}  // namespace kelvane

#endif
