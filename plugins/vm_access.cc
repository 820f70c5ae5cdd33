#include "plugins/vm_access.h"

#include <time.h>

#include "core/base/log.h"
#include "core/base/text.h"
#include "plugins/plugin_life_cycle.h"
#include "plugins/plugin_manager.h"
#include "plugins/plugin_settings.h"
#include "plugins/vm_access_operations.h"

namespace kelvane {

namespace {

struct VMAccessData {
  PluginData head;
  char status_code[kPluginTextSize] = {};  // not saved: empty after a restart, until the next enable
  PluginScratch scratch;
};

VMAccessData gsVMAccessData;

void set_result(const char *status_code, const char *message_text) {
  text_copy_field(gsVMAccessData.status_code, status_code);
  text_copy_field(gsVMAccessData.head.message, message_text);
}

void VMAccess_Enable(json_object *public_object, json_object *protected_object) {
  if (vm_access_apply(public_object, protected_object) != 0) {
    LOG_ABOVE(6, "[kelvane]: VMAccess: plugin enable failed\n");
    set_result("error", "Enable failed.");
    return;
  }
  set_result("success", "Enable succeeded.");
  LOG_ABOVE(6, "[kelvane]: VMAccess: plugin enable successfully\n");
}

void enable(Plugin *plugin, const PluginCall *call) {
  if (plugin_enabled_before(plugin, call->sequence_number, 5)) {
    return;
  }
  plugin->state = kPluginStateEnabled;
  plugin_log_settings(call->settings, 6);
  plugin->data->sequence_number = call->sequence_number;
  plugin->data->command_time = time(nullptr);
  set_result("error", "failed");
  PluginSettingsObjects objects;
  if (plugin_open_settings(call->settings, &objects)) {
    VMAccess_Enable(objects.public_object.get(), objects.protected_object.get());
  }
}

constexpr PluginLifeCycle kLifeCycle = {.enable = enable};

void vm_access_command(Plugin *plugin, uint32_t command, const char *version, const char *extension_name,
                       int32_t sequence_number, const PluginSettings *settings) {
  LOG_ABOVE(6, "[kelvane]: VMAccess: Received %s\n", pluginManager_CommandStr(command));
  const PluginCall call = {version, extension_name, sequence_number, settings};
  plugin_command(plugin, &kLifeCycle, command, &call);
}

void vm_access_status(Plugin *plugin, ExtStatus *status) {
  plugin_fill_status(plugin, &gsVMAccessData.scratch, "Enable", gsVMAccessData.status_code, plugin->data->message,
                     status);
}

Plugin gsVMAccess = {
    .name = "Microsoft.OSTCExtensions.VMAccessForLinux",
    .short_name = "VMAccessForLinux",
    .data = &gsVMAccessData.head,
    .command = vm_access_command,
    .status = vm_access_status,
    .handler_status = plugin_handler_status,
    .save = VMAccessForLinuxSave,
    .load = VMAccessForLinuxLoad,
};

}  // namespace

Plugin *pluginManager_RegisterVMAccessForLinux() {
  return &gsVMAccess;
}

}  // namespace kelvane
