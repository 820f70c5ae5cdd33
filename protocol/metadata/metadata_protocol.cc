#include "protocol/metadata/metadata_protocol.h"

#include <stdlib.h>
#include <string.h>

#include "core/base/json.h"
#include "protocol/metadata/metadata_certificates.h"
#include "protocol/metadata/metadata_documents.h"
#include "protocol/metadata/metadata_dump.h"
#include "protocol/metadata/metadata_handlers.h"
#include "protocol/metadata/metadata_http.h"
#include "protocol/metadata/metadata_resources.h"
#include "protocol/metadata/metadata_state.h"

namespace kelvane {

namespace {

constexpr int32_t kCertificateAttempts = 3;

// Until a list was fetched. What the certificates in it came to is not known here.
void fetch_certificates() {
  int32_t result = -1;
  for (int32_t made = 0; made < kCertificateAttempts && result != 0; made++) {
    result = metadata_certificates_fetch();
  }
}

// Deliberately as strncpy does it: a text that fills the field has no terminator.
template <size_t Size>
void copy_unterminated(char (&field)[Size], const char *source) {
  if (source != nullptr) {
    memcpy(field, source, strnlen(source, Size));
  }
}

// Hands a fetched document's ETag over; the slot (which may be null) keeps what it holds when none came.
void give_etag(char **slot, Text *etag) {
  if (slot != nullptr && etag->present()) {
    free(*slot);
    *slot = etag->release();
  }
}

// For every document that could be built; how the request ended is nobody's business, deliberately.
int64_t report(const char *url, const JsonOwner &document) {
  if (!document.present()) {
    return -1;
  }
  CurlListOwner headers;
  metadata_put(url, &headers, document.get());
  return 0;
}

int64_t get_vminfo(const Protocol *, VmInfo *info) {
  if (info == nullptr) {
    return -1;
  }
  const JsonOwner document = metadata_get(metadata_url(kMetadataIdentity), nullptr, nullptr);
  if (!document.present()) {
    return 0;
  }
  *info = {};
  metadata_keep_document(&metadata_state()->identity, document.get());
  copy_unterminated(info->subscription_id, json_member_text(document.get(), "subscriptionId"));
  copy_unterminated(info->vm_name, json_member_text(document.get(), "vmName"));
  return 0;
}

int64_t get_certs(const Protocol *) {
  return metadata_certificates_fetch();
}

int64_t detect(const Protocol *self) {
  VmInfo info = {};
  get_vminfo(self, &info);
  fetch_certificates();
  return 0;
}

// A plain comparison of bytes: an ETag is no number, and one that sorts in front of the previous one is no news.
bool is_news(const char *previous_etag, const Text *etag) {
  return previous_etag == nullptr || (etag->present() && strcmp(previous_etag, etag->get()) < 0);
}

int64_t get_vmagent_manifests(const Protocol *, const char *previous_tag, char **tag) {
  fetch_certificates();
  Text etag;
  JsonOwner document = metadata_get(metadata_url(kMetadataAgentVersions), nullptr, &etag);
  if (document.present()) {
    MetadataState *state = metadata_state();
    state->etag.reset();
    text_copy(&state->etag, etag.get());
    metadata_keep_document(&state->agent_versions, document.get());
    if (!is_news(previous_tag, &etag)) {
      document.reset();
    }
  }
  give_etag(tag, &etag);
  return reinterpret_cast<intptr_t>(document.release());
}

// The certificates come first, so that the settings can be decrypted.
int64_t get_ext_handlers(const Protocol *, const char *, char **tag, ExtHandlerList *list) {
  fetch_certificates();
  Text etag;
  CurlListOwner headers;
  JsonOwner document;
  if (metadata_certificate_headers(&headers) == 0) {
    document = metadata_get(metadata_url(kMetadataExtensionHandlers), headers.get(), &etag);
  }
  if (document.present()) {
    MetadataState *state = metadata_state();
    state->etag.reset();
    text_copy(&state->etag, etag.get());
    metadata_keep_document(&state->extensions, document.get());
    if (metadata_handlers_convert(document.get(), &state->handlers) != 0) {
      etag.reset();  // without it the next pass counts as changed: it handles what there was no memory for in this one
    }
    *list = state->handlers;
  }
  give_etag(tag, &etag);
  return 0;
}

int64_t report_provision_status(const Protocol *, const ProvisionStatus *status) {
  return report(metadata_url(kMetadataProvisioningStatus), ProvisionStatusToJSON(status));
}

int64_t report_vm_status(const Protocol *, const VMStatus *status) {
  return report(metadata_url(kMetadataVmStatus), VMStatusToJSON(status));
}

int64_t report_ext_status(const Protocol *, const char *, char *extension_name, const ExtStatus *status) {
  char url[kMetadataExtensionUrlSize];
  metadata_extension_url(extension_name, url);
  return report(url, ExtStatusToJSON(status));
}

// The main loop asks with no event, which sends nothing: telemetry's queue is drained by the wire protocol only.
int64_t report_event(const Protocol *, int32_t count, const TelemetryRecord *records) {
  if (count < 1 || records == nullptr) {
    return -1;
  }
  report(metadata_url(kMetadataTelemetry), TelemetryToJSON(count, records));
  return 0;
}

int64_t dump_config(const Protocol *, const Protocol *) {
  metadata_dump();
  return 0;
}

int64_t nothing(const Protocol *) {
  return 0;
}

constexpr Protocol kMetaDataProtocol = {
    .detect = detect,
    .get_vminfo = get_vminfo,
    .get_certs = get_certs,
    .get_vmagent_manifests = get_vmagent_manifests,
    .get_vmagent_pkgs = nothing,
    .get_ext_handlers = get_ext_handlers,
    .get_ext_handler_pkgs = nothing,
    .get_artifacts_profile = [](const Protocol *) -> int64_t { return -1; },
    .download_ext_handler_pkg = nothing,
    .report_provision_status = report_provision_status,
    .report_vm_status = report_vm_status,
    .report_ext_status = report_ext_status,
    .report_event = report_event,
    .dump_config = dump_config,
    .release = [](const Protocol *) { metadata_state_release(); },
};

}  // namespace

const Protocol *ProtocolGetMetaData() {
  metadata_urls_build();
  return &kMetaDataProtocol;
}

}  // namespace kelvane
