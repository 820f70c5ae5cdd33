#include "protocol/wire/status_blob.h"

#include <stdlib.h>
#include <string.h>

#include "core/base/text.h"

namespace kelvane {

namespace {

StatusBlob gsStatusBlob = {};
bool gsBlobTypeReported = false;

// The entry of that name, or a new one; null when all are taken or memory ran out.
StatusBlobExtension *entry_for(const char *name) {
  for (int32_t i = 0; i < gsStatusBlob.extension_count; i++) {
    if (strcmp(gsStatusBlob.extensions[i].name, name) == 0) {
      return &gsStatusBlob.extensions[i];
    }
  }
  Text copy;
  if (gsStatusBlob.extension_count == kStatusBlobExtensions || text_copy(&copy, name) != 0) {
    return nullptr;
  }
  StatusBlobExtension *entry = &gsStatusBlob.extensions[gsStatusBlob.extension_count++];
  entry->name = copy.release();
  return entry;
}

}  // namespace

const StatusBlob *status_blob() {
  return &gsStatusBlob;
}

void status_blob_record_extension(const char *name, const ExtStatus *status) {
  StatusBlobExtension *entry = name != nullptr && status != nullptr ? entry_for(name) : nullptr;
  if (entry != nullptr) {
    entry->status = *status;
  }
}

void status_blob_record_vm(const VMStatus *status) {
  if (status != nullptr) {
    gsStatusBlob.vm = *status;
  }
}

void status_blob_clear() {
  for (StatusBlobExtension &entry : gsStatusBlob.extensions) {
    free(entry.name);
  }
  gsStatusBlob = {};
}

bool blob_type_reported() {
  return gsBlobTypeReported;
}

void blob_type_reported_set(bool reported) {
  gsBlobTypeReported = reported;
}

}  // namespace kelvane
