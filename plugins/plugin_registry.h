// The registry: every plugin that the agent knows, in the order of registration. Owned by the plugin manager, which
// alone calls it, with its status file. Grows and never shrinks; never blocks, never logs.
#ifndef KELVANE_PLUGINS_PLUGIN_REGISTRY_H
#define KELVANE_PLUGINS_PLUGIN_REGISTRY_H

#include <stdint.h>

#include "plugins/plugin.h"

namespace kelvane {

// Appends a record; a null one is ignored. Without memory the record is silently not added.
void pluginManager_Add(Plugin *plugin);

// The plugin of that full name, compared byte for byte. An unknown name gets an unsupported plugin, which stays; null
// only for a null name or when memory runs out.
Plugin *pluginManager_Find(const char *name);

// The same, but null unless version is not empty and equal to the plugin's.
Plugin *pluginManager_FindVersion(const char *name, const char *version);

// The number of registered records, and the one at an index below that.
int32_t plugin_registry_count();
Plugin *plugin_registry_at(int32_t index);

// Cleans up every plugin that wants it and frees the array. The registry must not be used afterwards.
void pluginManager_Cleanup();

}  // namespace kelvane

#endif
