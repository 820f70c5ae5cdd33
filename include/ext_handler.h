// One extension that the platform asks for, and the counted array of them. Made by both protocols, which own the texts
// and the array until the next change of the configuration and lend the list to extension handling. Trivially copyable:
// a copy borrows the texts. Released with ExtHandlerFree and ExtHandlerListFree (protocol/ext_handler_list.h).
#ifndef KELVANE_INCLUDE_EXT_HANDLER_H
#define KELVANE_INCLUDE_EXT_HANDLER_H

#include <stddef.h>
#include <stdint.h>

namespace kelvane {

inline constexpr size_t kExtHandlerVersionSize = 64;
inline constexpr int32_t kExtHandlerUris = 5;

struct ExtHandler {
  char *name;
  char version[kExtHandlerVersionSize];  // at most 63 characters, always terminated
  uint32_t auto_upgrade;
  char *upgrade_guid;
  char *state;  // as the platform sends it: "enabled", "disabled", "uninstall"
  char *settings_name;
  int32_t sequence_number;
  char *public_settings;
  char *protected_settings;  // still encrypted
  char *protected_settings_thumbprint;
  char *runtime_settings;  // the whole runtime-settings document
  uint32_t has_runtime_settings;
  char *uris[kExtHandlerUris];
  int32_t uri_count;
};

struct ExtHandlerList {
  ExtHandler *handlers;  // null while empty
  int32_t count;
};

}  // namespace kelvane

#endif
