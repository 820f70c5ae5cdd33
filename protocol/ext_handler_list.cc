#include "protocol/ext_handler_list.h"

#include <stdlib.h>

namespace kelvane {

namespace {

void free_text(char **text) {
  free(*text);
  *text = nullptr;
}

}  // namespace

void ExtHandlerFree(ExtHandler *handler) {
  free_text(&handler->runtime_settings);
  free_text(&handler->public_settings);
  free_text(&handler->protected_settings_thumbprint);
  free_text(&handler->protected_settings);
  free_text(&handler->settings_name);
  for (char *&uri : handler->uris) {
    free_text(&uri);
  }
  free_text(&handler->state);
  free_text(&handler->upgrade_guid);
  free_text(&handler->name);
  handler->auto_upgrade = 0;
  handler->uri_count = 0;
}

void ExtHandlerListFree(ExtHandlerList *list) {
  if (list->handlers == nullptr) {
    return;
  }
  for (int32_t i = 0; i < list->count; i++) {
    ExtHandlerFree(&list->handlers[i]);
  }
  free(list->handlers);
  list->handlers = nullptr;
  list->count = 0;
}

}  // namespace kelvane
