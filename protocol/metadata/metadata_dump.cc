#include "protocol/metadata/metadata_dump.h"

#include "platform/platform.h"
#include "protocol/metadata/metadata_resources.h"
#include "protocol/metadata/metadata_state.h"

namespace kelvane {

namespace {

void dump_document(const char *label, const Text *document) {
  if (document->present()) {
    message("%s:\n%s\n", label, document->get());
  }
}

}  // namespace

void metadata_dump() {
  const MetadataState *state = metadata_state();
  if (state->etag.present()) {
    message("%20s: %s\n", "Etag", state->etag.get());
  }
  for (uint8_t i = 0; i < kMetadataResources; i++) {
    const auto resource = static_cast<MetadataResource>(i);
    message("%20s: %s\n", metadata_label(resource), metadata_url(resource));
  }
  dump_document("Identity Config", &state->identity);
  dump_document("VMAgent Config", &state->agent_versions);
  dump_document("Extension Config", &state->extensions);
}

}  // namespace kelvane
