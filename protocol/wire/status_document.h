// The JSON status document: what the VM status and the extensions' status records become on their way to the storage
// service. Called by the status upload. Never blocks, never logs.
#ifndef KELVANE_PROTOCOL_WIRE_STATUS_DOCUMENT_H
#define KELVANE_PROTOCOL_WIRE_STATUS_DOCUMENT_H

#include "core/base/text.h"
#include "protocol/wire/status_blob.h"

namespace kelvane {

// The document as text, with the current time in it; absent when it cannot be built. An absent or empty text of the
// records becomes JSON null.
Text status_document_make(const StatusBlob *blob);

}  // namespace kelvane

#endif
