// The status blob: what slots 10 and 11 record between two uploads, and whether the blob's type was reported. Called by
// the operations table and the status upload, on the main thread; never blocks, logs nothing. The seventh extension of
// a pass is dropped silently, and so is one whose name no memory was left to copy.
#ifndef KELVANE_PROTOCOL_WIRE_STATUS_BLOB_H
#define KELVANE_PROTOCOL_WIRE_STATUS_BLOB_H

#include <stdint.h>

#include "include/vm_status.h"

namespace kelvane {

inline constexpr int32_t kStatusBlobExtensions = 6;

// The texts of the status stay the caller's and must live until the next upload; the name is a copy, owned here.
struct StatusBlobExtension {
  char *name;
  ExtStatus status;
};

struct StatusBlob {
  VMStatus vm;
  StatusBlobExtension extensions[kStatusBlobExtensions];
  int32_t extension_count;
};

// The process-wide record, lent.
const StatusBlob *status_blob();

// Stores one extension's status: over the entry of that name, else in a new one. Null arguments are ignored.
void status_blob_record_extension(const char *name, const ExtStatus *status);

// Copies the whole VM status over the blob's. Its texts stay the caller's. A null argument is ignored.
void status_blob_record_vm(const VMStatus *status);

// Frees the names and zeroes the record.
void status_blob_clear();

// Whether this configuration's blob type was compared with the storage service's and reported. Cleared whenever the
// handlers are handed out and by each extensions configuration.
bool blob_type_reported();
void blob_type_reported_set(bool reported);

}  // namespace kelvane

#endif
