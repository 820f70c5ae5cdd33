// The life cycle of a plugin: what each command of the platform does to the plugin's state, written once; a plugin
// names only the steps that are its own. Called by the plugins' command operations, each after its own first line.
// Blocks for as long as a plugin's own step does; logs one line, for an enable that comes again.
#ifndef KELVANE_PLUGINS_PLUGIN_LIFE_CYCLE_H
#define KELVANE_PLUGINS_PLUGIN_LIFE_CYCLE_H

#include <stdint.h>

#include "plugins/plugin.h"

namespace kelvane {

// What comes with a command; borrowed for its length.
struct PluginCall {
  const char *version;
  const char *extension_name;
  int32_t sequence_number;
  const PluginSettings *settings;  // null with install, uninstall and disable
};

using PluginStep = void (*)(Plugin *plugin, const PluginCall *call);

// Takes the version that the call names and becomes "installed". The command time is not touched.
void plugin_install(Plugin *plugin, const PluginCall *call);

// Back to what a plugin is before its first install.
void plugin_forget(Plugin *plugin, const PluginCall *call);

// One step a command. Disable and uninstall are deliberately the same.
struct PluginLifeCycle {
  PluginStep install = plugin_install;
  PluginStep uninstall = plugin_forget;
  PluginStep update = plugin_install;
  PluginStep enable;  // every plugin's own
  PluginStep disable = plugin_forget;
};

// Keeps the extension's instance name, unless it is null or empty, and takes the command's step; an unknown command has
// none. Does nothing for a plugin without private data.
void plugin_command(Plugin *plugin, const PluginLifeCycle *life_cycle, uint32_t command, const PluginCall *call);

// Marks the plugin as installed in that version and puts it into the state.
void plugin_adopt_version(Plugin *plugin, const char *version, const char *state);

// Whether the sequence number is that of the last enable that was acted on, which a line says above the threshold.
bool plugin_enabled_before(const Plugin *plugin, int32_t sequence_number, int32_t threshold);

}  // namespace kelvane

#endif
