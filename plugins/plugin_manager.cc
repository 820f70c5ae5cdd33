#include "plugins/plugin_manager.h"

#include <string.h>

#include "core/base/log.h"
#include "core/base/text.h"
#include "core/base/version_text.h"
#include "plugins/builtin.h"
#include "plugins/plugin_registry.h"
#include "plugins/plugin_status_file.h"
#include "telemetry/event_queue.h"

namespace kelvane {

namespace {

struct CommandRow {
  const char *text;
  int32_t event_operation;
};

// Indexed by command number. Update is deliberately reported as an upgrade.
constexpr CommandRow kCommands[] = {
    {.text = "unknown", .event_operation = kTelemetryUnknown},
    {.text = "installcmd", .event_operation = kTelemetryInstall},
    {.text = "uninstallcmd", .event_operation = kTelemetryUnInstall},
    {.text = "updatecmd", .event_operation = kTelemetryUpgrade},
    {.text = "enablecmd", .event_operation = kTelemetryEnable},
    {.text = "disablecmd", .event_operation = kTelemetryDisable},
};

const CommandRow *command_row(uint32_t command) {
  return &kCommands[command <= kPluginDisable ? command : kPluginUnknown];
}

}  // namespace

int32_t pluginManager_Init() {
  for (size_t i = 0; i < kBuiltinPluginCount; i++) {
    pluginManager_Add(kBuiltinPlugins[i]());
  }
  plugin_status_load();
  return 0;
}

const char *pluginManager_CommandStr(uint32_t command) {
  return command_row(command)->text;
}

int32_t pluginManager_LaunchCommand(const char *name, const char *version, uint32_t command, const char *extension_name,
                                    int32_t sequence_number, const PluginSettings *settings) {
  LOG_ABOVE(6, "[kelvane]: start LaunchCommand: Name: %s (%s) Version: %s Command: %s\n", text_or(name, ""),
            text_or(extension_name, ""), version, pluginManager_CommandStr(command));
  Plugin *plugin = pluginManager_Find(name);
  if (plugin == nullptr) {
    return 0;
  }
  // An installed plugin takes commands for its own version only.
  if (plugin->version[0] != '\0' && strcmp(plugin->version, kPluginNoVersion) != 0) {
    const int32_t difference = strcmp(version, plugin->version);
    if (difference != 0) {
      return difference;
    }
  }
  if (plugin->command != nullptr) {
    plugin->command(plugin, command, version, extension_name, sequence_number, settings);
  }
  const CommandRow *row = command_row(command);
  if (row->event_operation != kTelemetryUnknown) {
    AddExtensionEvent(text_or(extension_name, name), row->event_operation, 1, 0, version, "");
  }
  plugin_status_save();
  return 0;
}

int32_t pluginManager_FindCurrentVersion(const char *name, char *version, size_t version_size) {
  const Plugin *plugin = pluginManager_Find(name);
  if (plugin == nullptr) {
    return -1;
  }
  text_copy_field(version, version_size < kPluginVersionSize ? version_size : kPluginVersionSize, plugin->version);
  return 0;
}

int32_t pluginManager_CheckNewerVersion(const char *name, const char *version) {
  const Plugin *plugin = pluginManager_Find(name);
  VersionNumbers requested;
  VersionNumbers provided;
  if (plugin == nullptr) {
    return 1;
  }
  if (!version_parse(version, &requested)) {
    return 0;
  }
  if (!version_parse(plugin->version, &provided)) {
    return 1;
  }
  return version_greater(&requested, &provided) ? 1 : 0;
}

const char *pluginManager_GetState(const char *name, const char *version) {
  const Plugin *plugin = pluginManager_FindVersion(name, version);
  return plugin != nullptr ? plugin->state : nullptr;
}

int32_t pluginManager_GetStatus(const char *name, const char *version, ExtStatus *status) {
  Plugin *plugin = pluginManager_FindVersion(name, version);
  if (plugin == nullptr || plugin->status == nullptr) {
    return -1;
  }
  plugin->status(plugin, status);
  return 0;
}

int32_t pluginManager_GetHandlerStatus(const char *name, const char *version, ExtHandlerStatus *status) {
  Plugin *plugin = pluginManager_FindVersion(name, version);
  if (plugin == nullptr || plugin->handler_status == nullptr) {
    return -1;
  }
  plugin->handler_status(plugin, status);
  return 0;
}

void pluginManager_Dump() {
  for (int32_t i = 0; i < plugin_registry_count(); i++) {
    const Plugin *plugin = plugin_registry_at(i);
    if (plugin != nullptr && plugin->state != nullptr) {
      message("%-30s: version: '%s', state: '%s'\n", plugin->name, plugin->version, plugin->state);
    }
  }
}

}  // namespace kelvane
