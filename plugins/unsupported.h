// The plugin that stands in for an extension whose name no built-in plugin carries: it takes every command and reports
// "Not supported.". Made by the plugin manager, one for each such name, and kept for the agent's lifetime.
#ifndef KELVANE_PLUGINS_UNSUPPORTED_H
#define KELVANE_PLUGINS_UNSUPPORTED_H

#include "plugins/plugin_common.h"

namespace kelvane {

// A fresh record with copies of both names, freed by its own clean-up operation; null for a null name or without
// memory. A null short name is replaced by what stands behind the last "." of the name. Without memory for its private
// data the record comes without any.
Plugin *pluginManager_RegisterUnSupported(const char *name, const char *short_name);

// Saving and loading of its data, as of every plugin's.
inline constexpr auto &UnSupportedSave = plugin_save;
inline constexpr auto &UnSupportedLoad = plugin_load;

}  // namespace kelvane

#endif
