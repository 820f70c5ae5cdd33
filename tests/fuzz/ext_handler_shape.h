// What holds of every handler list that a protocol lends, for the fuzz targets of both documents.
#ifndef KELVANE_TESTS_FUZZ_EXT_HANDLER_SHAPE_H
#define KELVANE_TESTS_FUZZ_EXT_HANDLER_SHAPE_H

#include <string>

#include "core/base/text.h"
#include "include/ext_handler.h"
#include "tests/fuzz/world.h"

namespace fuzz {

// The list as one text, its properties asserted: texts are UTF-8, fields terminated, counts within their capacity.
inline std::string handlers_shown(const kelvane::ExtHandlerList &list) {
  require((list.handlers == nullptr) == (list.count == 0) && list.count >= 0, "records come with their count");
  std::string shown;
  for (int32_t i = 0; i < list.count; i++) {
    const kelvane::ExtHandler &handler = list.handlers[i];
    require_field(handler.version);
    require(handler.uri_count >= 0 && handler.uri_count <= kelvane::kExtHandlerUris, "URIs find room");
    require(handler.auto_upgrade <= 1 && handler.has_runtime_settings <= 1, "flags are 0 or 1");
    for (const char *text :
         {static_cast<const char *>(handler.name), handler.version, static_cast<const char *>(handler.upgrade_guid),
          static_cast<const char *>(handler.state), static_cast<const char *>(handler.settings_name),
          static_cast<const char *>(handler.public_settings), static_cast<const char *>(handler.protected_settings),
          static_cast<const char *>(handler.protected_settings_thumbprint),
          static_cast<const char *>(handler.runtime_settings)}) {
      require_text(text);
      shown += std::string(kelvane::text_or(text, "(none)")) + '\n';
    }
    for (int32_t j = 0; j < kelvane::kExtHandlerUris; j++) {
      require_text(handler.uris[j]);
      require(j < handler.uri_count || handler.uris[j] == nullptr, "there are no more URIs than counted");
      shown += std::string(kelvane::text_or(handler.uris[j], "(none)")) + '\n';
    }
    shown += std::to_string(handler.sequence_number) + ' ' + std::to_string(handler.auto_upgrade) + '\n';
  }
  return shown;
}

}  // namespace fuzz

#endif
