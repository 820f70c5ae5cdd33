#include "plugins/plugin_life_cycle.h"

#include <string.h>

#include "core/base/log.h"
#include "core/base/text.h"

namespace kelvane {

namespace {

struct CommandStep {
  uint32_t command;
  PluginStep PluginLifeCycle::*step;
};

constexpr CommandStep kCommandSteps[] = {
    {.command = kPluginInstall, .step = &PluginLifeCycle::install},
    {.command = kPluginUninstall, .step = &PluginLifeCycle::uninstall},
    {.command = kPluginUpdate, .step = &PluginLifeCycle::update},
    {.command = kPluginEnable, .step = &PluginLifeCycle::enable},
    {.command = kPluginDisable, .step = &PluginLifeCycle::disable},
};

void note_extension_name(PluginData *data, const char *extension_name) {
  if (extension_name != nullptr && extension_name[0] != '\0') {
    text_copy_field(data->extension_name, extension_name);
  }
}

}  // namespace

void plugin_command(Plugin *plugin, const PluginLifeCycle *life_cycle, uint32_t command, const PluginCall *call) {
  if (plugin->data == nullptr) {
    return;
  }
  note_extension_name(plugin->data, call->extension_name);
  for (const CommandStep &each : kCommandSteps) {
    if (each.command == command) {
      (life_cycle->*each.step)(plugin, call);
    }
  }
}

void plugin_install(Plugin *plugin, const PluginCall *call) {
  plugin_adopt_version(plugin, call->version, kPluginStateInstalled);
}

void plugin_adopt_version(Plugin *plugin, const char *version, const char *state) {
  plugin->data->installed = 1;
  if (strcmp(plugin->version, version) != 0) {
    text_copy_field(plugin->version, version);
  }
  plugin->state = state;
}

void plugin_forget(Plugin *plugin, const PluginCall * /*call*/) {
  plugin->data->command_time = 0;
  plugin->data->installed = 0;
  plugin->data->sequence_number = kPluginNoSequence;
  text_copy_field(plugin->data->message, "");
  text_copy_field(plugin->version, kPluginNoVersion);
  plugin->state = nullptr;
}

bool plugin_enabled_before(const Plugin *plugin, int32_t sequence_number, int32_t threshold) {
  if (sequence_number != plugin->data->sequence_number) {
    return false;
  }
  LOG_ABOVE(threshold, "[kelvane]: Same seqno %d, not enabling command\n", sequence_number);
  return true;
}

}  // namespace kelvane
