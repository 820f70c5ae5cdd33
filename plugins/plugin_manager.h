// The plugin manager: dispatches the commands of extension handling to the plugins, answers its questions about states,
// status and versions, reports every command as a telemetry event, and keeps the status file. Called by start-up and
// the extension pass, on the main thread; blocks for as long as a plugin's command does. A lookup of an unknown name
// registers a plugin for it.
#ifndef KELVANE_PLUGINS_PLUGIN_MANAGER_H
#define KELVANE_PLUGINS_PLUGIN_MANAGER_H

#include <stddef.h>
#include <stdint.h>

#include "include/vm_status.h"
#include "plugins/plugin.h"

namespace kelvane {

// Registers the built-in plugins and loads the status file. Called once at start-up. 0.
int32_t pluginManager_Init();

// Runs a command. extension_name and settings may be null. 0; non-zero without having called the plugin when it is
// installed in another version (neither an event nor the status file follow then).
int32_t pluginManager_LaunchCommand(const char *name, const char *version, uint32_t command, const char *extension_name,
                                    int32_t sequence_number, const PluginSettings *settings);

// Copies the version of the plugin of that name into a field of version_size bytes, at most 31 characters. 0; -1 with
// the field untouched when no plugin could be found or made.
int32_t pluginManager_FindCurrentVersion(const char *name, char *version, size_t version_size);

// 1 when the version is greater than the plugin's, when the plugin's is none, or when there is no plugin; else 0.
int32_t pluginManager_CheckNewerVersion(const char *name, const char *version);

// The state text of the plugin in that version, lent; null while absent or for another version.
const char *pluginManager_GetState(const char *name, const char *version);

// Have the plugin in that version fill the record. 0; -1 for another version or a plugin without that operation.
int32_t pluginManager_GetStatus(const char *name, const char *version, ExtStatus *status);
int32_t pluginManager_GetHandlerStatus(const char *name, const char *version, ExtHandlerStatus *status);

// One log line for each plugin that has a state: the operator's test command. Not gated by the level.
void pluginManager_Dump();

// The command's text, "unknown" for any other number.
const char *pluginManager_CommandStr(uint32_t command);

}  // namespace kelvane

#endif
