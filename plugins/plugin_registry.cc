#include "plugins/plugin_registry.h"

#include <stdlib.h>
#include <string.h>

#include "plugins/unsupported.h"

namespace kelvane {

namespace {

constexpr int32_t kGrowth = 10;

Plugin **gsPlugins = nullptr;
int32_t gsPluginCount = 0;
int32_t gsPluginCapacity = 0;

// The last record that no memory was left to register: its finder may still use it, the next such one replaces it.
Plugin *gsUnregistered = nullptr;

void cleanup(Plugin *plugin) {
  if (plugin != nullptr && plugin->cleanup != nullptr) {
    plugin->cleanup(plugin);
  }
}

bool add(Plugin *plugin) {
  if (gsPluginCount + 1 >= gsPluginCapacity) {
    // An array of references is meant.
    const size_t record = sizeof(Plugin *);  // NOLINT(bugprone-sizeof-expression)
    const size_t bytes = (static_cast<size_t>(gsPluginCapacity) + kGrowth) * record;
    auto *grown = static_cast<Plugin **>(realloc(gsPlugins, bytes));
    if (grown == nullptr) {
      return false;
    }
    gsPlugins = grown;
    gsPluginCapacity += kGrowth;
  }
  gsPlugins[gsPluginCount++] = plugin;
  return true;
}

}  // namespace

void pluginManager_Add(Plugin *plugin) {
  if (plugin != nullptr) {
    add(plugin);
  }
}

Plugin *pluginManager_Find(const char *name) {
  if (name == nullptr) {
    return nullptr;
  }
  for (int32_t i = 0; i < gsPluginCount; i++) {
    if (gsPlugins[i] != nullptr && strcmp(gsPlugins[i]->name, name) == 0) {
      return gsPlugins[i];
    }
  }
  Plugin *made = pluginManager_RegisterUnSupported(name, nullptr);
  if (made != nullptr && !add(made)) {
    cleanup(gsUnregistered);
    gsUnregistered = made;
  }
  return made;
}

Plugin *pluginManager_FindVersion(const char *name, const char *version) {
  Plugin *plugin = pluginManager_Find(name);
  if (plugin == nullptr || version == nullptr || version[0] == '\0' || strcmp(plugin->version, version) != 0) {
    return nullptr;
  }
  return plugin;
}

int32_t plugin_registry_count() {
  return gsPluginCount;
}

Plugin *plugin_registry_at(int32_t index) {
  return gsPlugins[index];
}

void pluginManager_Cleanup() {
  for (int32_t i = 0; i < gsPluginCount; i++) {
    cleanup(gsPlugins[i]);
  }
  cleanup(gsUnregistered);
  free(gsPlugins);
}

}  // namespace kelvane
