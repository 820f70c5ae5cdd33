#include "tests/fuzz/plugin_file.h"

#include "plugins/builtin.h"
#include "tests/fuzz/world.h"
// The sources, so that registry and foreign states can be emptied: they live as long as the process.
#include "plugins/plugin_registry.cc"
#include "plugins/plugin_status_file.cc"

namespace fuzz {

namespace {

void forget_foreign_states() {
  for (auto *state = kelvane::gsForeignStates; state != nullptr; state = kelvane::gsForeignStates) {
    kelvane::gsForeignStates = state->next;
    free(state->text);
    free(state);
  }
}

void require_plugin(const kelvane::Plugin &plugin) {
  require_field(plugin.version);
  for (const char *text : {plugin.name, plugin.short_name, plugin.state}) {
    require_text(text);
  }
  require_field(plugin.data->extension_name);
  require_field(plugin.data->message);
}

}  // namespace

void fresh_registry() {
  kelvane::pluginManager_Cleanup();
  kelvane::gsPlugins = nullptr;
  kelvane::gsPluginCount = kelvane::gsPluginCapacity = 0;
  for (const auto make : kelvane::kBuiltinPlugins) {
    kelvane::Plugin *plugin = make();
    plugin->state = nullptr;
    kelvane::text_copy_field(plugin->version, kelvane::kPluginNoVersion);
    *plugin->data = kelvane::PluginData{};
    kelvane::pluginManager_Add(plugin);
  }
  forget_foreign_states();
}

std::string load_and_save(const FakeOs &os) {
  kelvane::plugin_status_load();
  for (int32_t i = 0; i < kelvane::plugin_registry_count(); i++) {
    require_plugin(*kelvane::plugin_registry_at(i));
  }
  kelvane::plugin_status_save();
  return os.read("/data/etc/.plugin_status");
}

}  // namespace fuzz
