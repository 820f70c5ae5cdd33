#include "tests/unit/plugins/plugin_world.h"

#include <signal.h>

#include <cstdlib>

#include "credentials/cert_store.h"
// The registry's own source, so that tests can empty it: its array lives as long as the process.
#include "plugins/builtin.h"
#include "plugins/plugin_registry.cc"
#include "tests/support/recording_state.h"
#include "tests/unit/plugins/sealed.h"

extern "C" {
void *__real_calloc(size_t count, size_t size);
void *__real_malloc(size_t size);
void *__real_realloc(void *memory, size_t size);
void *__wrap_calloc(size_t count, size_t size);
void *__wrap_malloc(size_t size);
void *__wrap_realloc(void *memory, size_t size);
int __wrap_kill(pid_t process, int number);
int32_t __wrap__ZN7kelvane15__hasSSHPubKeysEv();
void __wrap__ZN7kelvane17AddExtensionEventEPKciimS1_S1_(const char *name, int32_t operation, int32_t success,
                                                        uint64_t duration, const char *version, const char *text);

void *__wrap_calloc(size_t count, size_t size) {
  const bool refused = plugin_world::refuse_calloc > 0 && --plugin_world::refuse_calloc == 0;
  return refused ? nullptr : __real_calloc(count, size);
}
void *__wrap_malloc(size_t size) {
  const bool refused = plugin_world::refuse_malloc > 0 && --plugin_world::refuse_malloc == 0;
  return refused ? nullptr : __real_malloc(size);
}
void *__wrap_realloc(void *memory, size_t size) {
  plugin_world::realloc_sizes.push_back(size);
  const bool refused = plugin_world::refuse_realloc > 0 && --plugin_world::refuse_realloc == 0;
  return refused ? nullptr : __real_realloc(memory, size);
}
int __wrap_kill(pid_t process, int number) {
  recording::note("kill(" + std::to_string(process) + ", " + std::to_string(number) + ")");
  return 0;
}
int32_t __wrap__ZN7kelvane15__hasSSHPubKeysEv() {
  return plugin_world::has_ssh_pub_keys;
}
void __wrap__ZN7kelvane17AddExtensionEventEPKciimS1_S1_(const char *name, int32_t operation, int32_t success,
                                                        uint64_t duration, const char *version, const char *text) {
  recording::note("AddExtensionEvent(" + recording::quoted(name) + ", " + std::to_string(operation) + ", " +
                  std::to_string(success) + ", " + std::to_string(duration) + ", " + recording::quoted(version) + ", " +
                  recording::quoted(text) + ")");
}
}

namespace {

void as_after_start_up(kelvane::Plugin *plugin) {
  plugin->state = nullptr;
  kelvane::text_copy_field(plugin->version, "0.0.0.0");
  *plugin->data = kelvane::PluginData{};
}

std::string text_of(const char *text) {
  return text != nullptr ? text : "null";
}

}  // namespace

namespace plugin_world {

bool was_wiped(const std::string &part) {
  for (const std::string &each : wiped) {
    if (each.find(part) != std::string::npos) {
      return true;
    }
  }
  return false;
}

void fresh_registry() {
  kelvane::pluginManager_Cleanup();
  kelvane::gsPlugins = nullptr;
  kelvane::gsPluginCount = 0;
  kelvane::gsPluginCapacity = 0;
  kelvane::gsUnregistered = nullptr;
}

void empty_slot(int32_t index) {
  kelvane::gsPlugins[index] = nullptr;
}

kelvane::Plugin *make_unsupported() {
  return kelvane::pluginManager_RegisterUnSupported("Some.Maker.Thing", nullptr);
}

std::string shown(const kelvane::ExtStatus &status) {
  return text_of(status.configuration_applied_time) + "|" + text_of(status.operation) + "|" + text_of(status.status) +
         "|" + std::to_string(status.sequence_number) + "|" + std::to_string(status.code) + "|" +
         text_of(status.message) + "|" + text_of(status.substatus_name) + "|" + text_of(status.substatus_status) + "|" +
         std::to_string(status.substatus_code) + "|" + text_of(status.substatus_message) + "|" +
         std::to_string(status.substatus_count);
}

}  // namespace plugin_world

PluginTest::PluginTest() {
  plugin_world::fresh_registry();
  for (const auto make : kelvane::kBuiltinPlugins) {
    as_after_start_up(make());
  }
  plugin_world::has_ssh_pub_keys = 0;
  plugin_world::wiped.clear();
  plugin_world::realloc_sizes.clear();
  os_.hide({"access", "close", "open", "time", "unlink"});
  kelvane::CertStoreClear();
  sealed::put_into_store();
}

PluginTest::~PluginTest() {
  plugin_world::refuse_calloc = 0;
  plugin_world::refuse_malloc = 0;
  plugin_world::refuse_realloc = 0;
  plugin_world::fresh_registry();
  kelvane::CertStoreClear();
}

std::string PluginTest::status_of(kelvane::Plugin *plugin) {
  kelvane::ExtStatus status = {};
  status.operation = "untouched";
  status.substatus_name = "untouched";
  plugin->status(plugin, &status);
  return plugin_world::shown(status);
}

std::string PluginTest::handler_status_of(kelvane::Plugin *plugin) {
  kelvane::ExtHandlerStatus status;
  memset(static_cast<void *>(&status), 0x5A, sizeof status);
  plugin->handler_status(plugin, &status);
  return std::string(status.name) + "|" + status.version + "|" + status.status + "|" + std::to_string(status.code) +
         "|" + status.message + "|" + status.extension_name;
}

std::string PluginTest::saved(kelvane::Plugin *plugin) {
  const kelvane::JsonOwner object(plugin->save(plugin));
  return json_object_to_json_string_ext(object.get(), JSON_C_TO_STRING_PLAIN);
}

void PluginTest::load(kelvane::Plugin *plugin, const char *text) {
  const kelvane::JsonOwner object(text != nullptr ? json_tokener_parse(text) : nullptr);
  plugin->load(plugin, object.get());
}
