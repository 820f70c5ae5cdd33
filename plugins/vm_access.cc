#include "plugins/vm_access.h"

#include <time.h>

#include "core/base/json.h"
#include "core/base/log.h"
#include "core/base/text.h"
#include "extensions/handler_settings.h"
#include "plugins/acknowledging.h"
#include "plugins/plugin_common.h"
#include "plugins/plugin_manager.h"
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

void enable(Plugin *plugin, int32_t sequence_number, const PluginSettings *settings) {
  if (sequence_number == plugin->data->sequence_number) {
    LOG_ABOVE(5, "[kelvane]: Same seqno %d, not enabling command\n", sequence_number);
    return;
  }
  plugin->state = kPluginStateEnabled;
  plugin_log_settings(settings, 6);
  plugin->data->sequence_number = sequence_number;
  plugin->data->command_time = time(nullptr);
  set_result("error", "failed");
  if (settings == nullptr || settings->public_settings == nullptr || settings->protected_settings == nullptr) {
    return;
  }
  JsonOwner public_object = json_load(settings->public_settings);
  JsonSecretOwner protected_object =
      HandlerUtilParseProtectedSettings(settings->protected_settings, settings->thumbprint);
  VMAccess_Enable(public_object.get(), protected_object.get());
}

void vm_access_command(Plugin *plugin, uint32_t command, const char *version, const char *extension_name,
                       int32_t sequence_number, const PluginSettings *settings) {
  LOG_ABOVE(6, "[kelvane]: VMAccess: Received %s\n", pluginManager_CommandStr(command));
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

json_object *VMAccessForLinuxSave(Plugin *plugin) {
  return plugin_save(plugin);
}

void VMAccessForLinuxLoad(Plugin *plugin, json_object *config) {
  plugin_load(plugin, config);
}

}  // namespace kelvane
