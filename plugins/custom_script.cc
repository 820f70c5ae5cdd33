#include "plugins/custom_script.h"

#include <string.h>
#include <time.h>

#include "core/base/json.h"
#include "core/base/log.h"
#include "core/base/text.h"
#include "extensions/handler_settings.h"
#include "plugins/event_hub_command.h"
#include "plugins/plugin_common.h"
#include "plugins/plugin_manager.h"

namespace kelvane {

namespace {

// With the blank behind it: the script's name at the very end of a command text is none.
constexpr char kAcceptedScript[] = "config-eventhub.sh ";

constexpr char kInvalidTranscript[] = "Command is finished.\n---stdout---\n\n---errout---\nERROR: Invalid Command!!\n";

// The command text, from the protected settings first; lent by the objects. Null when neither holds one.
const char *choose_command(json_object *protected_object, json_object *public_object) {
  const char *command = json_member_text(protected_object, "commandToExecute");
  if (protected_object != nullptr) {
    // Deliberately also printed when the command is then taken from the public settings.
    LOG_ABOVE(6, "[kelvane]: Using protectedSettings\n");
  }
  if (command == nullptr) {
    command = json_member_text(public_object, "commandToExecute");
    if (command != nullptr) {
      LOG_ABOVE(6, "[kelvane]: Using publicSettings\n");
    }
  }
  return command;
}

void execute(Plugin *plugin, const char *command) {
  LOG_ABOVE(6, "[kelvane]: Custom commandToExecute %s\n", command);
  if (strstr(command, kAcceptedScript) != nullptr) {
    LOG_ABOVE(6, "[kelvane]: Valid command\n");
    CustomScript_ConfigEventHub(command, plugin->data->message, sizeof plugin->data->message);
  } else {
    LOG_ABOVE(6, "[kelvane]: ERROR: invalid command\n");
    text_copy_field(plugin->data->message, kInvalidTranscript);
  }
  plugin->state = kPluginStateEnabled;
}

void enable(Plugin *plugin, int32_t sequence_number, const PluginSettings *settings) {
  // Before the sequence number is looked at, so that a skipped enable moves it too.
  plugin->data->command_time = time(nullptr);
  if (sequence_number == plugin->data->sequence_number) {
    LOG_ABOVE(6, "[kelvane]: Same seqno %d, not enabling command\n", sequence_number);
    return;
  }
  // Consumed even when the settings turn out to be unusable: the same number is not tried again.
  plugin->data->sequence_number = sequence_number;
  if (settings == nullptr || settings->public_settings == nullptr || settings->protected_settings == nullptr) {
    return;
  }
  JsonOwner public_object = json_load(settings->public_settings);
  JsonSecretOwner protected_object =
      HandlerUtilParseProtectedSettings(settings->protected_settings, settings->thumbprint);
  const char *command = choose_command(protected_object.get(), public_object.get());
  if (command != nullptr) {
    execute(plugin, command);
  }
}

// Unlike with the other plugins, install and update set the command time, and an update enables.
void adopt(Plugin *plugin, const char *version, const char *state) {
  plugin->data->command_time = time(nullptr);
  plugin_adopt_version(plugin, version, state);
}

void custom_script_command(Plugin *plugin, uint32_t command, const char *version, const char *extension_name,
                           int32_t sequence_number, const PluginSettings *settings) {
  LOG_ABOVE(6, "[kelvane]: Custom Script: Received %s\n", pluginManager_CommandStr(command));
  plugin_note_extension_name(plugin, extension_name);
  switch (command) {
    case kPluginInstall:
      adopt(plugin, version, kPluginStateInstalled);
      break;
    case kPluginUpdate:
      adopt(plugin, version, kPluginStateEnabled);
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

PluginCommonData gsCustomScriptData;

void custom_script_status(Plugin *plugin, ExtStatus *status) {
  plugin_fill_status(plugin, &gsCustomScriptData.scratch, "Daemon", "success", plugin->data->message, status);
}

Plugin gsCustomScript = {
    .name = "Microsoft.OSTCExtensions.CustomScriptForLinux",
    .short_name = "CustomScript",
    .data = &gsCustomScriptData.head,
    .command = custom_script_command,
    .status = custom_script_status,
    .handler_status = plugin_handler_status,
    .save = CustomScriptSave,
    .load = CustomScriptLoad,
};

}  // namespace

Plugin *pluginManager_RegisterCustomScript() {
  return &gsCustomScript;
}

json_object *CustomScriptSave(Plugin *plugin) {
  return plugin_save(plugin);
}

void CustomScriptLoad(Plugin *plugin, json_object *config) {
  plugin_load(plugin, config);
}

}  // namespace kelvane
