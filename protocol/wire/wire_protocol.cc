#include "protocol/wire/wire_protocol.h"

#include <stdlib.h>

#include "core/base/log.h"
#include "core/base/text.h"
#include "protocol/wire/dump.h"
#include "protocol/wire/ext_config.h"
#include "protocol/wire/goal_state.h"
#include "protocol/wire/http_client.h"
#include "protocol/wire/reports.h"
#include "protocol/wire/status_blob.h"
#include "protocol/wire/status_upload.h"
#include "protocol/wire/wire_client.h"
#include "telemetry/event_upload.h"

namespace kelvane {

namespace {

int64_t log_start(const char *name, int32_t number) {
  LOG_ABOVE(6, "[kelvane]: start - %s:%d\n", name, number);
  return 0;
}

int64_t WireProtocol_detect(const Protocol *) {
  log_start("WireProtocol_detect", 1021);
  const int32_t result = __WireClient_get_versions();
  __WireClient_update_goal_state(1);
  return result;
}

int64_t WireProtocol_get_vminfo(const Protocol *, VmInfo *) {
  return log_start("WireProtocol_get_vminfo", 1034);
}

int64_t WireProtocol_get_certs(const Protocol *) {
  return log_start("WireProtocol_get_certs", 1041);
}

int64_t WireProtocol_get_vmagent_manifests(const Protocol *, const char *, char **) {
  return log_start("WireProtocol_get_vmagent_manifests", 1048);
}

int64_t WireProtocol_get_vmagent_pkgs(const Protocol *) {
  return log_start("WireProtocol_get_vmagent_pkgs", 1055);
}

int64_t WireProtocol_get_ext_handlers(const Protocol *, const char *, char **tag, ExtHandlerList *list) {
  __WireClient_update_goal_state(0);
  Text incarnation;
  // Without a tag the next pass counts as changed: it handles what there was no memory for in this one.
  const bool complete = !goal_state()->incomplete && ext_config()->incomplete == 0;
  if (complete && text_copy(&incarnation, goal_state()->incarnation.get()) == 0 && incarnation.present()) {
    free(*tag);
    *tag = incarnation.release();
  }
  *list = ext_config()->handlers;
  blob_type_reported_set(false);
  return 0;
}

int64_t WireProtocol_get_ext_handler_pkgs(const Protocol *) {
  return log_start("WireProtocol_get_ext_handler_pkgs", 1079);
}

int64_t WireProtocol_get_artifacts_profile(const Protocol *) {
  return log_start("WireProtocol_get_artifacts_profile", 1086);
}

int64_t WireProtocol_download_ext_handler_pkg(const Protocol *) {
  return log_start("WireProtocol_download_ext_handler_pkg", 1093);
}

int64_t WireProtocol_report_provision_status(const Protocol *, const ProvisionStatus *status) {
  log_start("WireProtocol_report_provision_status", 1101);
  if (status->state != nullptr) {
    report_health(status->state, status->substatus, status->description);
  }
  if (status->thumbprint != nullptr) {
    report_role_properties(status->thumbprint);
  }
  return 0;
}

int64_t WireProtocol_report_vm_status(const Protocol *, const VMStatus *status) {
  log_start("WireProtocol_report_vm_status", 1118);
  status_blob_record_vm(status);
  status_upload();
  return 0;
}

int64_t WireProtocol_report_ext_status(const Protocol *, const char *name, char *, const ExtStatus *status) {
  log_start("WireProtocol_report_ext_status", 1127);
  status_blob_record_extension(name, status);
  return 0;
}

int64_t WireProtocol_report_event(const Protocol *, int32_t, const TelemetryRecord *) {
  return EventHandler_Process();
}

int64_t WireProtocol_dump_config(const Protocol *, const Protocol *) {
  wire_dump();
  return 0;
}

void WireProtocol_release(const Protocol *) {
  captured_blob_type_clear();
  ext_config_release(ext_config());
  goal_state_release();
  status_blob_clear();
}

constexpr Protocol kWireProtocol = {
    .detect = WireProtocol_detect,
    .get_vminfo = WireProtocol_get_vminfo,
    .get_certs = WireProtocol_get_certs,
    .get_vmagent_manifests = WireProtocol_get_vmagent_manifests,
    .get_vmagent_pkgs = WireProtocol_get_vmagent_pkgs,
    .get_ext_handlers = WireProtocol_get_ext_handlers,
    .get_ext_handler_pkgs = WireProtocol_get_ext_handler_pkgs,
    .get_artifacts_profile = WireProtocol_get_artifacts_profile,
    .download_ext_handler_pkg = WireProtocol_download_ext_handler_pkg,
    .report_provision_status = WireProtocol_report_provision_status,
    .report_vm_status = WireProtocol_report_vm_status,
    .report_ext_status = WireProtocol_report_ext_status,
    .report_event = WireProtocol_report_event,
    .dump_config = WireProtocol_dump_config,
    .release = WireProtocol_release,
};

}  // namespace

const Protocol *ProtocolGetWire() {
  return &kWireProtocol;
}

}  // namespace kelvane
