#include "plugins/plugin_manager.h"

namespace kelvane {

int32_t pluginManager_Init() {
  return 0;
}

void pluginManager_Dump() {}

}  // namespace kelvane
