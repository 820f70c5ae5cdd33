#include "plugins/acknowledging.h"

#include <time.h>

#include "core/base/log.h"
#include "core/base/text.h"
#include "plugins/plugin_common.h"
#include "plugins/plugin_manager.h"

namespace kelvane {

namespace {

void enable(Plugin *plugin, int32_t sequence_number, const PluginSettings *settings) {
  plugin_log_settings(settings, 1);
  PluginData *data = plugin->data;
  if (sequence_number != data->sequence_number) {
    data->sequence_number = sequence_number;
    data->command_time = time(nullptr);
    text_copy_field(data->message, "Plugin enabled");
  } else {
    LOG_ABOVE(0, "[kelvane]: Same seqno %d, not enabling command\n", sequence_number);
  }
  // Also after a skipped enable: an enabled state that was lost by other means is restored.
  plugin->state = kPluginStateEnabled;
}

void linux_asm_command(Plugin *plugin, uint32_t command, const char *version, const char *extension_name,
                       int32_t sequence_number, const PluginSettings *settings) {
  LOG_ABOVE(0, "[kelvane]: LinuxAsm: Received %s\n", pluginManager_CommandStr(command));
  acknowledging_command(plugin, command, version, extension_name, sequence_number, settings);
}

void linux_diagnostic_command(Plugin *plugin, uint32_t command, const char *version, const char *extension_name,
                              int32_t sequence_number, const PluginSettings *settings) {
  LOG_ABOVE(0, "[kelvane]: LinuxDiagnostic: Received %s\n", pluginManager_CommandStr(command));
  acknowledging_command(plugin, command, version, extension_name, sequence_number, settings);
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

void plugin_log_settings(const PluginSettings *settings, int32_t threshold) {
  const PluginSettings none = {};
  const PluginSettings *given = settings != nullptr ? settings : &none;
  LOG_ABOVE(threshold, "[kelvane]: Enabled publicSettings: '%s'\n", text_or(given->public_settings, ""));
  LOG_ABOVE(threshold, "[kelvane]: Enabled protectedSettings: '%s'\n", text_or(given->protected_settings, ""));
}

void acknowledging_command(Plugin *plugin, uint32_t command, const char *version, const char *extension_name,
                           int32_t sequence_number, const PluginSettings *settings) {
  if (plugin->data == nullptr) {
    return;
  }
  plugin_note_extension_name(plugin, extension_name);
  switch (command) {
    case kPluginInstall:
    case kPluginUpdate:
      plugin_adopt_version(plugin, version, kPluginStateInstalled);
      break;
    case kPluginUninstall:
    case kPluginDisable:
      plugin_forget(plugin);
      break;
    case kPluginEnable:
      enable(plugin, sequence_number, settings);
      break;
    default:
      break;
  }
}

Plugin *pluginManager_RegisterLinuxAsm() {
  return &gsLinuxAsm;
}

Plugin *pluginManager_RegisterLinuxDiagnostic() {
  return &gsLinuxDiagnostic;
}

json_object *LinuxAsmSave(Plugin *plugin) {
  return plugin_save(plugin);
}

void LinuxAsmLoad(Plugin *plugin, json_object *config) {
  plugin_load(plugin, config);
}

json_object *LinuxDiagnosticSave(Plugin *plugin) {
  return plugin_save(plugin);
}

void LinuxDiagnosticLoad(Plugin *plugin, json_object *config) {
  plugin_load(plugin, config);
}

}  // namespace kelvane
