#include "plugins/plugin_common.h"

#include <stdint.h>

#include "core/base/json.h"
#include "core/base/json_maker.h"
#include "core/base/text.h"
#include "core/base/utc_time.h"

namespace kelvane {

namespace {

// Handler status texts are cut shorter than their fields are.
constexpr size_t kHandlerMessageSize = 128;

void load_text(json_object *config, const char *name, char (&field)[kPluginTextSize]) {
  const char *text = json_member_text(config, name);
  if (text != nullptr) {
    text_copy_field(field, text);
  }
}

}  // namespace

void plugin_handler_status(Plugin *plugin, ExtHandlerStatus *status) {
  *status = ExtHandlerStatus{};
  text_copy_field(status->name, plugin->name);
  text_copy_field(status->version, plugin->version);
  const PluginData *data = plugin->data;
  text_copy_field(status->status, data != nullptr && data->installed != 0 ? "Ready" : "NotReady");
  if (data != nullptr) {
    text_copy_field(status->message, kHandlerMessageSize, data->message);
    text_copy_field(status->extension_name, data->extension_name);
  }
}

void plugin_fill_status(const Plugin *plugin, PluginScratch *scratch, const char *operation, const char *status_text,
                        const char *message_text, ExtStatus *status) {
  const PluginData *data = plugin->data;
  if (data == nullptr || data->installed == 0) {
    return;
  }
  *scratch = PluginScratch{};
  if (data->command_time != 0) {
    UtcTime when = {};
    utc_time_format(data->command_time, &when);
    text_copy_field(scratch->time_stamp, when.text);
  }
  scratch->status.configuration_applied_time = scratch->time_stamp;
  scratch->status.operation = operation;
  scratch->status.status = status_text;
  scratch->status.sequence_number = data->sequence_number;
  scratch->status.message = message_text;
  *status = scratch->status;
}

json_object *plugin_save(Plugin *plugin) {
  const PluginData *data = plugin->data;
  if (data == nullptr) {
    return nullptr;
  }
  JsonMaker maker;
  JsonOwner config(json_make_object(&maker));
  json_add_number(&maker, config.get(), "installed", static_cast<int32_t>(data->installed));
  if (data->installed != 0) {
    json_add_number(&maker, config.get(), "seqno", data->sequence_number);
    // Deliberately 32 bits wide.
    json_add_number(&maker, config.get(), "cmdtime", static_cast<int32_t>(data->command_time));
    json_add_text(&maker, config.get(), "extname", data->extension_name);
    json_add_text(&maker, config.get(), "message", data->message);
  }
  return maker.complete ? config.release() : nullptr;
}

void plugin_load(Plugin *plugin, json_object *config) {
  PluginData *data = plugin->data;
  if (data == nullptr) {
    return;
  }
  data->installed = static_cast<uint32_t>(json_object_get_int(json_member(config, "installed", json_type_int)));
  if (data->installed == 0) {
    return;
  }
  data->sequence_number = json_object_get_int(json_member(config, "seqno", json_type_int));
  data->command_time = json_object_get_int64(json_member(config, "cmdtime", json_type_int));
  load_text(config, "extname", data->extension_name);
  load_text(config, "message", data->message);
}

}  // namespace kelvane
