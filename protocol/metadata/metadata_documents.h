// The four JSON documents that the metadata service is sent. Used by the metadata protocol only; never blocks. A text
// that is absent in a record is written as the empty text.
#ifndef KELVANE_PROTOCOL_METADATA_METADATA_DOCUMENTS_H
#define KELVANE_PROTOCOL_METADATA_METADATA_DOCUMENTS_H

#include <stdint.h>

#include "core/base/json_owners.h"
#include "include/provision_status.h"
#include "include/telemetry_record.h"
#include "include/vm_status.h"

namespace kelvane {

// Each gives a document, the caller's; absent when memory ran out. Counts in the records beyond the fields' capacity
// are cut to it.
JsonOwner ProvisionStatusToJSON(const ProvisionStatus *status);
JsonOwner VMStatusToJSON(const VMStatus *status);
JsonOwner ExtStatusToJSON(const ExtStatus *status);

// count records, at least one.
JsonOwner TelemetryToJSON(int32_t count, const TelemetryRecord *records);

}  // namespace kelvane

#endif
