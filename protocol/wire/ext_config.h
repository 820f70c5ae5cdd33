// The cached extensions configuration: where the status blob goes, its announced type, and the list of extension
// handlers with their runtime settings. Filled by the wire client from a loaded document, read by the operations table,
// the status blob and the configuration dump. Never blocks. What a document lacks is logged here; a document without
// "Extensions" changes nothing. The handler list is lent to the rest of the agent and is freed with the configuration.
#ifndef KELVANE_PROTOCOL_WIRE_EXT_CONFIG_H
#define KELVANE_PROTOCOL_WIRE_EXT_CONFIG_H

#include <stdint.h>

#include "core/base/text.h"
#include "core/base/xml.h"
#include "include/ext_handler.h"

namespace kelvane {

struct ExtConfig {
  uint32_t page_blob;      // 1 when the platform announced "PageBlob" for the status blob
  Text status_upload_url;  // absent until announced
  int32_t incarnation;
  uint32_t incomplete;  // 1 when memory ran out for a part of the document: it is wanted again
  ExtHandlerList handlers;
};

// The process-wide configuration, lent.
ExtConfig *ext_config();

// Fills the configuration from a document. 0; -1 when there is no "Extensions" element, with the configuration
// unchanged. The handlers are there whole or not at all: a command without a part of its settings would do something
// else, and use up its sequence number.
int32_t ExtConfigParse(mxml_node_t *document, ExtConfig *config);

// Frees the status upload URL and the handler list: absent and empty afterwards, and not incomplete; the blob's type
// and the incarnation stay.
void ext_config_release(ExtConfig *config);

}  // namespace kelvane

#endif
