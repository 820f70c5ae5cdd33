// What the metadata protocol keeps between its operations: the ETag, the last documents for the dump, and the converted
// handler list that it lends. One process-wide record, without a lock: all on the main thread. Never blocks, never
// logs; what cannot be kept for lack of memory is absent.
#ifndef KELVANE_PROTOCOL_METADATA_METADATA_STATE_H
#define KELVANE_PROTOCOL_METADATA_METADATA_STATE_H

#include "core/base/json_owners.h"
#include "core/base/text.h"
#include "include/ext_handler.h"

namespace kelvane {

struct MetadataState {
  Text etag;      // of the last extension or agent-versions document
  Text identity;  // the last documents, pretty-printed
  Text agent_versions;
  Text extensions;
  ExtHandlerList handlers;  // of the last extension document; lent to the caller of slot 5
};

// The record itself.
MetadataState *metadata_state();

// Keeps a document as text, in place of the one before.
void metadata_keep_document(Text *slot, json_object *document);

// Frees everything: absent and empty afterwards.
void metadata_state_release();

}  // namespace kelvane

#endif
