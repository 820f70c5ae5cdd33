// What the plugins have in common beside their life cycle: the two status operations, and saving and loading of their
// data. Called by the plugins' own files and named in their records. Never blocks, never logs.
#ifndef KELVANE_PLUGINS_PLUGIN_COMMON_H
#define KELVANE_PLUGINS_PLUGIN_COMMON_H

#include "plugins/plugin.h"

namespace kelvane {

// The handler status operation of every plugin: zeroes the record and fills it.
void plugin_handler_status(Plugin *plugin, ExtHandlerStatus *status);

// Fills the extension status record when the plugin is installed; else leaves it as it is. The texts are borrowed, the
// formatted command time from scratch.
void plugin_fill_status(const Plugin *plugin, PluginScratch *scratch, const char *operation, const char *status_text,
                        const char *message_text, ExtStatus *status);

// The plugin's data as a new JSON object, the caller's to release; null without private data or memory.
json_object *plugin_save(Plugin *plugin);

// Takes the plugin's data from a JSON object; null means not installed. Does nothing without private data.
void plugin_load(Plugin *plugin, json_object *config);

}  // namespace kelvane

#endif
