// The plugins that accept an extension and do nothing for it: LinuxAsm and LinuxDiagnostic, which are one plugin twice,
// and what they share with the one that stands in for every unknown extension. They differ in names, texts and the
// level of one line. Never blocks.
#ifndef KELVANE_PLUGINS_ACKNOWLEDGING_H
#define KELVANE_PLUGINS_ACKNOWLEDGING_H

#include "plugins/plugin_common.h"
#include "plugins/plugin_life_cycle.h"

namespace kelvane {

// Their enable step, and the life cycle that it makes.
void plugin_acknowledge(Plugin *plugin, const PluginCall *call);
inline constexpr PluginLifeCycle kAcknowledging = {.enable = plugin_acknowledge};

// The two of them that are built in: their static records.
Plugin *pluginManager_RegisterLinuxAsm();
Plugin *pluginManager_RegisterLinuxDiagnostic();

// Saving and loading of their data, as of every plugin's.
inline constexpr auto &LinuxAsmSave = plugin_save;
inline constexpr auto &LinuxAsmLoad = plugin_load;
inline constexpr auto &LinuxDiagnosticSave = plugin_save;
inline constexpr auto &LinuxDiagnosticLoad = plugin_load;

}  // namespace kelvane

#endif
