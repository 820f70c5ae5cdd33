// The protocol operations table: the fifteen operations through which the agent reaches the platform, filled once by
// the wire protocol and once by the metadata protocol. Start-up chooses one table after the endpoint wait; from then on
// the rest of the agent knows the protocol only through it. Every operation runs on the main thread and blocks for as
// long as its requests and their retries take. Results are 64-bit, 0 for success unless an operation says otherwise;
// many operations always return 0 and leave failures to the log.
#ifndef KELVANE_PROTOCOL_PROTOCOL_H
#define KELVANE_PROTOCOL_PROTOCOL_H

#include <stdint.h>

#include "include/ext_handler.h"
#include "include/provision_status.h"
#include "include/telemetry_record.h"
#include "include/vm_info.h"
#include "include/vm_status.h"

namespace kelvane {

// The order of the slots is fixed. Every operation receives the table itself first; release is the only one without a
// result.
struct Protocol {
  // 0: contacts the platform for the first time and fetches everything. Called once, before provisioning.
  int64_t (*detect)(const Protocol *self);
  // 1: fills the record with what the protocol knows of the machine.
  int64_t (*get_vminfo)(const Protocol *self, VmInfo *info);
  // 2: fetches the certificates into the certificate store.
  int64_t (*get_certs)(const Protocol *self);
  // 3: the agent versions on offer. previous_tag may be null; *tag holds an owned text or null, is freed and replaced
  // by the new change marker when there is one. The result is a document, a json_object reference of the caller's own,
  // or 0 for none; the wire protocol has none.
  int64_t (*get_vmagent_manifests)(const Protocol *self, const char *previous_tag, char **tag);
  // 4
  int64_t (*get_vmagent_pkgs)(const Protocol *self);
  // 5: the extensions that the platform asks for. previous_tag may be null; *tag holds an owned text or null, is freed
  // and replaced by the new change marker when there is one; *list is filled with a lent list (the protocol's own,
  // valid until its next change) and must not be freed.
  int64_t (*get_ext_handlers)(const Protocol *self, const char *previous_tag, char **tag, ExtHandlerList *list);
  // 6
  int64_t (*get_ext_handler_pkgs)(const Protocol *self);
  // 7
  int64_t (*get_artifacts_profile)(const Protocol *self);
  // 8
  int64_t (*download_ext_handler_pkg)(const Protocol *self);
  // 9: reports the provisioning state.
  int64_t (*report_provision_status)(const Protocol *self, const ProvisionStatus *status);
  // 10: reports the agent and its handlers.
  int64_t (*report_vm_status)(const Protocol *self, const VMStatus *status);
  // 11: reports one extension; extension_name is a text slot of 128 bytes.
  int64_t (*report_ext_status)(const Protocol *self, const char *name, char *extension_name, const ExtStatus *status);
  // 12: one telemetry pass. A result above 0 means that events remain queued.
  int64_t (*report_event)(const Protocol *self, int32_t count, const TelemetryRecord *records);
  // 13: writes the cached configuration to the log; the console passes the table a second time.
  int64_t (*dump_config)(const Protocol *self, const Protocol *table);
  // 14: frees every cached value. For an orderly end; the agent's own flow never calls it.
  void (*release)(const Protocol *self);
};

}  // namespace kelvane

#endif
