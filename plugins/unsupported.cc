#include "plugins/unsupported.h"

#include <stdlib.h>
#include <string.h>

#include "core/base/log.h"
#include "core/base/text.h"
#include "plugins/acknowledging.h"
#include "plugins/plugin_manager.h"

namespace kelvane {

namespace {

// A record with what it owns.
struct UnSupportedPlugin {
  Plugin record;
  char *name;
  char *short_name;
  PluginCommonData *data;
};

UnSupportedPlugin *whole(Plugin *plugin) {
  static_assert(offsetof(UnSupportedPlugin, record) == 0, "the record is the plugin's address");
  return reinterpret_cast<UnSupportedPlugin *>(plugin);
}

void unsupported_command(Plugin *plugin, uint32_t command, const char *version, const char *extension_name,
                         int32_t sequence_number, const PluginSettings *settings) {
  LOG_ABOVE(6, "[kelvane]: UnSupported (%s): Received %s\n", plugin->short_name, pluginManager_CommandStr(command));
  const PluginCall call = {version, extension_name, sequence_number, settings};
  plugin_command(plugin, &kAcknowledging, command, &call);
}

void unsupported_status(Plugin *plugin, ExtStatus *status) {
  if (whole(plugin)->data != nullptr) {
    plugin_fill_status(plugin, &whole(plugin)->data->scratch, "Enable", "error", "Not supported.", status);
  }
}

void unsupported_cleanup(Plugin *plugin) {
  UnSupportedPlugin *made = whole(plugin);
  free(made->name);
  free(made->short_name);
  free(made->data);
  free(made);
}

const char *last_component(const char *name) {
  const char *dot = strrchr(name, '.');
  return dot != nullptr ? dot + 1 : name;
}

}  // namespace

Plugin *pluginManager_RegisterUnSupported(const char *name, const char *short_name) {
  if (name == nullptr) {
    return nullptr;
  }
  auto *made = static_cast<UnSupportedPlugin *>(calloc(1, sizeof(UnSupportedPlugin)));
  Text name_copy;
  Text short_copy;
  if (made == nullptr || text_copy(&name_copy, name) != 0 ||
      text_copy(&short_copy, short_name != nullptr ? short_name : last_component(name)) != 0) {
    free(made);
    return nullptr;
  }
  made->name = name_copy.release();
  made->short_name = short_copy.release();
  made->data = static_cast<PluginCommonData *>(calloc(1, sizeof(PluginCommonData)));
  if (made->data != nullptr) {
    made->data->head.sequence_number = kPluginNoSequence;
  }
  // Zeroed memory: the version stays empty, deliberately, and is not "0.0.0.0".
  Plugin *record = &made->record;
  record->name = made->name;
  record->short_name = made->short_name;
  record->data = made->data != nullptr ? &made->data->head : nullptr;
  record->command = unsupported_command;
  record->status = unsupported_status;
  record->handler_status = plugin_handler_status;
  record->cleanup = unsupported_cleanup;
  record->save = UnSupportedSave;
  record->load = UnSupportedLoad;
  return record;
}

}  // namespace kelvane
