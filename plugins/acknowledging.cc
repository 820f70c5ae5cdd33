#include "plugins/acknowledging.h"

#include <time.h>

#include "core/base/log.h"
#include "core/base/text.h"
#include "plugins/plugin_manager.h"
#include "plugins/plugin_settings.h"

namespace kelvane {

namespace {

// Their own lines deliberately print at level 1 already, unlike the other plugins'.
void linux_asm_command(Plugin *plugin, uint32_t command, const char *version, const char *extension_name,
                       int32_t sequence_number, const PluginSettings *settings) {
  LOG_ABOVE(0, "[kelvane]: LinuxAsm: Received %s\n", pluginManager_CommandStr(command));
  const PluginCall call = {version, extension_name, sequence_number, settings};
  plugin_command(plugin, &kAcknowledging, command, &call);
}

void linux_diagnostic_command(Plugin *plugin, uint32_t command, const char *version, const char *extension_name,
                              int32_t sequence_number, const PluginSettings *settings) {
  LOG_ABOVE(0, "[kelvane]: LinuxDiagnostic: Received %s\n", pluginManager_CommandStr(command));
  const PluginCall call = {version, extension_name, sequence_number, settings};
  plugin_command(plugin, &kAcknowledging, command, &call);
}

PluginCommonData gsLinuxAsmData;
PluginCommonData gsLinuxDiagnosticData;

// The status message is the fixed text, never the message field.
void linux_asm_status(Plugin *plugin, ExtStatus *status) {
  plugin_fill_status(plugin, &gsLinuxAsmData.scratch, "Enable", "success", "Enable ASM succeeded.", status);
}

void linux_diagnostic_status(Plugin *plugin, ExtStatus *status) {
  plugin_fill_status(plugin, &gsLinuxDiagnosticData.scratch, "Enable", "success", "Enable succeeded.", status);
}

Plugin gsLinuxAsm = {
    .name = "Microsoft.Azure.Extensions.LinuxAsm",
    .short_name = "LinuxAsm",
    .data = &gsLinuxAsmData.head,
    .command = linux_asm_command,
    .status = linux_asm_status,
    .handler_status = plugin_handler_status,
    .save = LinuxAsmSave,
    .load = LinuxAsmLoad,
};

Plugin gsLinuxDiagnostic = {
    .name = "Microsoft.OSTCExtensions.LinuxDiagnostic",
    .short_name = "LinuxDiagnostic",
    .data = &gsLinuxDiagnosticData.head,
    .command = linux_diagnostic_command,
    .status = linux_diagnostic_status,
    .handler_status = plugin_handler_status,
    .save = LinuxDiagnosticSave,
    .load = LinuxDiagnosticLoad,
};

}  // namespace

void plugin_acknowledge(Plugin *plugin, const PluginCall *call) {
  plugin_log_settings(call->settings, 1);
  if (!plugin_enabled_before(plugin, call->sequence_number, 0)) {
    plugin->data->sequence_number = call->sequence_number;
    plugin->data->command_time = time(nullptr);
    text_copy_field(plugin->data->message, "Plugin enabled");
  }
  // Also after a skipped enable: an enabled state that was lost by other means is restored.
  plugin->state = kPluginStateEnabled;
}

Plugin *pluginManager_RegisterLinuxAsm() {
  return &gsLinuxAsm;
}

Plugin *pluginManager_RegisterLinuxDiagnostic() {
  return &gsLinuxDiagnostic;
}

}  // namespace kelvane
