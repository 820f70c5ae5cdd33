// The plugin manager. Will own the registry of the built-in plugins, the dispatch of extension commands and the status
// file; at present no plugin is registered.
#ifndef KELVANE_PLUGINS_PLUGIN_MANAGER_H
#define KELVANE_PLUGINS_PLUGIN_MANAGER_H

#include <stdint.h>

namespace kelvane {

// Called once at start-up. 0.
int32_t pluginManager_Init();

// One log line for each installed extension: the operator's test command. Not gated by the level.
void pluginManager_Dump();

}  // namespace kelvane

#endif
