#include "plugins/custom_script.h"

#include <string.h>
#include <time.h>

#include "core/base/json.h"
#include "core/base/log.h"
#include "core/base/text.h"
#include "plugins/event_hub_command.h"
#include "plugins/plugin_life_cycle.h"
#include "plugins/plugin_manager.h"
#include "plugins/plugin_settings.h"

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

void enable(Plugin *plugin, const PluginCall *call) {
  // Before the sequence number is looked at, so that a skipped enable moves it too.
  plugin->data->command_time = time(nullptr);
  if (plugin_enabled_before(plugin, call->sequence_number, 6)) {
    return;
  }
  // Consumed even when the settings turn out to be unusable: the same number is not tried again.
  plugin->data->sequence_number = call->sequence_number;
  PluginSettingsObjects objects;
  if (!plugin_open_settings(call->settings, &objects)) {
    return;
  }
  const char *command = choose_command(objects.protected_object.get(), objects.public_object.get());
  if (command != nullptr) {
    execute(plugin, command);
  }
}

void install(Plugin *plugin, const PluginCall *call) {
  plugin->data->command_time = time(nullptr);
  plugin_adopt_version(plugin, call->version, kPluginStateInstalled);
}

void update(Plugin *plugin, const PluginCall *call) {
  plugin->data->command_time = time(nullptr);
  plugin_adopt_version(plugin, call->version, kPluginStateEnabled);
}

// Deliberately unlike the other plugins: install and update set the command time, and an update enables.
constexpr PluginLifeCycle kLifeCycle = {.install = install, .update = update, .enable = enable};

void custom_script_command(Plugin *plugin, uint32_t command, const char *version, const char *extension_name,
                           int32_t sequence_number, const PluginSettings *settings) {
  LOG_ABOVE(6, "[kelvane]: Custom Script: Received %s\n", pluginManager_CommandStr(command));
  const PluginCall call = {version, extension_name, sequence_number, settings};
  plugin_command(plugin, &kLifeCycle, command, &call);
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

}  // namespace kelvane
