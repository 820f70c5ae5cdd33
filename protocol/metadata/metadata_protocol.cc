#include "protocol/metadata/metadata_protocol.h"

namespace kelvane {

namespace {

constexpr Protocol kMetaDataProtocol = {
    .detect = [](const Protocol *) -> int64_t { return 0; },
    .get_vminfo = [](const Protocol *, VmInfo *info) -> int64_t { return info != nullptr ? 0 : -1; },
    .get_certs = [](const Protocol *) -> int64_t { return -1; },
    .get_vmagent_manifests = [](const Protocol *, const char *, char **) -> int64_t { return 0; },
    .get_vmagent_pkgs = [](const Protocol *) -> int64_t { return 0; },
    .get_ext_handlers = [](const Protocol *, const char *, char **, ExtHandlerList *) -> int64_t { return 0; },
    .get_ext_handler_pkgs = [](const Protocol *) -> int64_t { return 0; },
    .get_artifacts_profile = [](const Protocol *) -> int64_t { return -1; },
    .download_ext_handler_pkg = [](const Protocol *) -> int64_t { return 0; },
    .report_provision_status = [](const Protocol *, const ProvisionStatus *) -> int64_t { return 0; },
    .report_vm_status = [](const Protocol *, const VMStatus *) -> int64_t { return 0; },
    .report_ext_status = [](const Protocol *, const char *, char *, const ExtStatus *) -> int64_t { return 0; },
    .report_event = [](const Protocol *, int32_t, const TelemetryRecord *) -> int64_t { return -1; },
    .dump_config = [](const Protocol *, const Protocol *) -> int64_t { return 0; },
    .release = [](const Protocol *) {},
};

}  // namespace

const Protocol *ProtocolGetMetaData() {
  return &kMetaDataProtocol;
}

}  // namespace kelvane
