// Releasing of the extension handler records that either protocol made. Never blocks, cannot fail.
#ifndef KELVANE_PROTOCOL_EXT_HANDLER_LIST_H
#define KELVANE_PROTOCOL_EXT_HANDLER_LIST_H

#include "include/ext_handler.h"

namespace kelvane {

// Frees a record's owned texts, each absent afterwards, and resets its auto-upgrade flag and URI count to 0.
void ExtHandlerFree(ExtHandler *handler);

// Releases every record and the array: absent and 0 afterwards. Does nothing when the array is absent.
void ExtHandlerListFree(ExtHandlerList *list);

}  // namespace kelvane

#endif
