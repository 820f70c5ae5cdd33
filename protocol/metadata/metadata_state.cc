#include "protocol/metadata/metadata_state.h"

#include "protocol/ext_handler_list.h"

namespace kelvane {

namespace {

MetadataState gsMetadata = {};

}  // namespace

MetadataState *metadata_state() {
  return &gsMetadata;
}

void metadata_keep_document(Text *slot, json_object *document) {
  slot->reset();
  text_copy(slot, json_object_to_json_string_ext(document, JSON_C_TO_STRING_PRETTY));
}

void metadata_state_release() {
  gsMetadata.identity.reset();
  gsMetadata.agent_versions.reset();
  gsMetadata.extensions.reset();
  gsMetadata.etag.reset();
  ExtHandlerListFree(&gsMetadata.handlers);
}

}  // namespace kelvane
