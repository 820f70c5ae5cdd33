// The command operation of the plugins that accept an extension and do nothing for it: LinuxAsm, LinuxDiagnostic and
// the one that stands in for every unknown extension. They differ in names, texts and the level of one line. Never
// blocks.
#ifndef KELVANE_PLUGINS_ACKNOWLEDGING_H
#define KELVANE_PLUGINS_ACKNOWLEDGING_H

#include <stdint.h>

#include "plugins/plugin.h"

namespace kelvane {

// Everything that the command does after its own log line.
void acknowledging_command(Plugin *plugin, uint32_t command, const char *version, const char *extension_name,
                           int32_t sequence_number, const PluginSettings *settings);

// The two of them that are built in: their static records.
Plugin *pluginManager_RegisterLinuxAsm();
Plugin *pluginManager_RegisterLinuxDiagnostic();

// Saving and loading of their data.
json_object *LinuxAsmSave(Plugin *plugin);
void LinuxAsmLoad(Plugin *plugin, json_object *config);
json_object *LinuxDiagnosticSave(Plugin *plugin);
void LinuxDiagnosticLoad(Plugin *plugin, json_object *config);

// Logs what an enable was given: the two settings texts as received, the protected one encrypted still.
void plugin_log_settings(const PluginSettings *settings, int32_t threshold);

}  // namespace kelvane

#endif
