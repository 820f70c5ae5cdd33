// The conversion of the metadata service's extension document into the handler list that extension handling knows. Used
// by the metadata protocol only; never blocks. Members of a wrong type count as missing, or are taken as their JSON
// text where a text of any form is wanted. Above level 6 the settings go to the log as they came, encrypted ones
// included.
#ifndef KELVANE_PROTOCOL_METADATA_METADATA_HANDLERS_H
#define KELVANE_PROTOCOL_METADATA_METADATA_HANDLERS_H

#include "core/base/json_owners.h"
#include "include/ext_handler.h"

namespace kelvane {

// Replaces the list, which must be zeroed or converted, by a document's: one record an element of the top-level array,
// zeroed for an element that is no object. Empty for a document that is no array, and for an empty one. 0, or -1 with
// an empty list when memory ran out for any part of it: a command without a part of its settings would do something
// else, and use up its sequence number.
int32_t metadata_handlers_convert(json_object *document, ExtHandlerList *list);

}  // namespace kelvane

#endif
