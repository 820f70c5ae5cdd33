#include "plugins/plugin_status_file.h"

#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/base/buffer.h"
#include "core/base/file.h"
#include "core/base/json.h"
#include "core/base/json_maker.h"
#include "core/base/log.h"
#include "core/base/text.h"
#include "plugins/plugin.h"
#include "plugins/plugin_registry.h"

namespace kelvane {

namespace {

constexpr char kStatusFile[] = "/data/etc/.plugin_status";

// Elements that are read, and plugins that they may make the registry hold; what stands behind them is not read. The
// registry compares a name with all that it has. A machine has a dozen extensions, and seldom more names than that. No
// more are written either: a file with too many values would not be read at all, and the built-in plugins, which are
// the first in the registry, would be lost with the rest.
constexpr int32_t kMaxPlugins = 1000;

static_assert(kJsonMaxBytes == uint64_t{2} * 1024 * 1024, "the log lines say so");

// States that are none of ours are kept for the agent's lifetime: the records only refer to their texts.
struct ForeignState {
  char *text;
  ForeignState *next;
};
ForeignState *gsForeignStates = nullptr;

const char *keep_foreign_state(const char *state) {
  Text text;
  auto *kept = static_cast<ForeignState *>(calloc(1, sizeof(ForeignState)));
  if (kept == nullptr || text_copy(&text, state) != 0) {
    free(kept);
    return nullptr;
  }
  kept->text = text.release();
  kept->next = gsForeignStates;
  gsForeignStates = kept;
  return kept->text;
}

const char *state_text(const char *state) {
  if (strcmp(state, kPluginStateEnabled) == 0) {
    return kPluginStateEnabled;
  }
  return strcmp(state, kPluginStateInstalled) == 0 ? kPluginStateInstalled : keep_foreign_state(state);
}

void load_element(json_object *element) {
  const char *name = json_member_text(element, "name");
  const char *version = json_member_text(element, "version");
  const char *state = json_member_text(element, "handlerstate");
  Plugin *plugin = name != nullptr ? pluginManager_Find(name) : nullptr;
  if (plugin == nullptr) {
    return;
  }
  LOG_ABOVE(6, "[kelvane]: Status Load (%s): version: '%s', handlerstate: '%s'\n", name, text_or(version, ""),
            text_or(state, ""));
  if (version != nullptr) {
    text_copy_field(plugin->version, version);
  }
  if (state != nullptr) {
    plugin->state = state_text(state);
  }
  // A null is there, too: a plugin whose configuration it is was not installed.
  json_object *config = nullptr;
  if (json_object_object_get_ex(element, "config", &config) && plugin->load != nullptr) {
    plugin->load(plugin, config);
  }
}

JsonOwner read_status_file() {
  DescriptorOwner file(file_open_to_read(kStatusFile));
  struct stat about = {};
  BufferOwner text;
  if (!file.present() || fstat(file.get(), &about) != 0 || !S_ISREG(about.st_mode)) {
    return JsonOwner();
  }
  const int32_t result = file_read_all(file.get(), kJsonMaxBytes, text.get());
  if (result == kFileTooLong) {
    LOG_ABOVE(0, "[kelvane]: Status Load: the file has more than 2 MB and is not read\n");
  }
  return result == 0 ? json_load(text.data()) : JsonOwner();
}

void add_config(JsonMaker *maker, json_object *element, Plugin *plugin) {
  json_object *config = plugin->save != nullptr ? plugin->save(plugin) : nullptr;
  if (config != nullptr) {
    json_add(maker, element, "config", config);
  } else if (plugin->save != nullptr && plugin->data != nullptr) {
    maker->complete = false;
  }
}

json_object *element_of(JsonMaker *maker, Plugin *plugin) {
  json_object *element = json_make_object(maker);
  json_add_text(maker, element, "name", plugin->name);
  json_add_text(maker, element, "version", plugin->version);
  if (plugin->state != nullptr) {
    json_add_text(maker, element, "handlerstate", plugin->state);
  }
  add_config(maker, element, plugin);
  return element;
}

// Absent when memory runs out.
JsonOwner all_elements() {
  JsonMaker maker;
  JsonOwner plugins(json_make_array(&maker));
  for (int32_t i = 0; i < plugin_registry_count() && i < kMaxPlugins; i++) {
    Plugin *plugin = plugin_registry_at(i);
    if (plugin != nullptr) {
      json_append(&maker, plugins.get(), element_of(&maker, plugin));
    }
  }
  return maker.complete ? static_cast<JsonOwner &&>(plugins) : JsonOwner();
}

const char *pretty_text(json_object *value) {
  return value != nullptr ? json_object_to_json_string_ext(value, JSON_C_TO_STRING_PRETTY) : nullptr;
}

uint64_t size_of(json_object *element) {
  constexpr uint64_t kIndentation = 40;  // at least what an element's lines have more within the array
  return strlen(text_or(pretty_text(element), "")) + kIndentation;
}

// Takes elements off the end of a list that is too long, until the file is one that is read again. An element whose
// text there is no memory for counts as short: then the file may stay too long.
void cut_to_readable_size(json_object *plugins) {
  const size_t length = json_object_array_length(plugins);
  uint64_t size = size_of(nullptr);
  for (size_t kept = 0; kept < length; kept++) {
    size += size_of(json_object_array_get_idx(plugins, kept));
    if (size > kJsonMaxBytes) {
      json_object_array_del_idx(plugins, kept, length - kept);
      return;
    }
  }
}

}  // namespace

void plugin_status_load() {
  JsonOwner plugins = read_status_file();
  if (!json_object_is_type(plugins.get(), json_type_array)) {
    return;
  }
  const size_t length = json_object_array_length(plugins.get());
  size_t i = 0;
  for (; i < length && i < kMaxPlugins && plugin_registry_count() < kMaxPlugins; i++) {
    load_element(json_object_array_get_idx(plugins.get(), i));
  }
  if (i < length) {
    LOG_ABOVE(0, "[kelvane]: Status Load: the first %zu of %zu plugins are taken\n", i, length);
  }
}

void plugin_status_save() {
  JsonOwner plugins = all_elements();
  const int32_t count = plugin_registry_count();
  const char *text = pretty_text(plugins.get());
  bool cut = count > kMaxPlugins;
  if (text != nullptr && strlen(text) > kJsonMaxBytes) {
    cut_to_readable_size(plugins.get());
    text = pretty_text(plugins.get());
    cut = true;
  }
  if (text == nullptr) {
    LOG_ABOVE(0, "[kelvane]: Status Save: no memory for the file, the last one stays\n");
    return;
  }
  if (strlen(text) > kJsonMaxBytes) {
    LOG_ABOVE(0, "[kelvane]: Status Save: the file has more than 2 MB and is not written, the last one stays\n");
    return;
  }
  if (cut) {
    LOG_ABOVE(0, "[kelvane]: Status Save: the first %zu of %d plugins are kept\n",
              json_object_array_length(plugins.get()), count);
  }
  unlink(kStatusFile);
  file_create_with(kStatusFile, text, strlen(text));
}

}  // namespace kelvane
