// Plugins when memory or the library refuses: what is kept of their state, and what their texts are then.
#include <unistd.h>

#include "plugins/event_hub_command.h"
#include "plugins/plugin_common.h"
#include "plugins/plugin_registry.h"
#include "plugins/plugin_status_file.h"
#include "tests/support/base64.h"
#include "tests/support/refused_stat.h"
#include "tests/unit/plugins/plugin_world.h"

extern "C" {
json_object *__real_json_object_new_object();
json_object *__wrap_json_object_new_object();
json_object *__real_json_object_new_array();
json_object *__wrap_json_object_new_array();
json_object *__real_json_object_new_string(const char *text);
json_object *__wrap_json_object_new_string(const char *text);
json_object *__real_json_object_new_int(int32_t number);
json_object *__wrap_json_object_new_int(int32_t number);
}

namespace {

// The n-th JSON value from now on cannot be made; 0: all can.
int refuse_value = 0;

bool value_refused() {
  return refuse_value > 0 && --refuse_value == 0;
}

}  // namespace

json_object *__wrap_json_object_new_object() {
  return value_refused() ? nullptr : __real_json_object_new_object();
}

json_object *__wrap_json_object_new_array() {
  return value_refused() ? nullptr : __real_json_object_new_array();
}

json_object *__wrap_json_object_new_string(const char *text) {
  return value_refused() ? nullptr : __real_json_object_new_string(text);
}

json_object *__wrap_json_object_new_int(int32_t number) {
  return value_refused() ? nullptr : __real_json_object_new_int(number);
}

namespace {

using kelvane::pluginManager_Find;
using plugin_world::kStatusFile;

class PluginRefusals : public PluginTest {
 protected:
  PluginRefusals() { plugin_world::fresh_registry(); }
  ~PluginRefusals() override { refuse_value = 0; }

  // The state of the plugin "A" after loading.
  std::string loaded_state(const std::string &bytes) {
    plugin_world::fresh_registry();
    kelvane::Plugin *plugin = pluginManager_Find("A");
    os_.write(kStatusFile, bytes);
    kelvane::plugin_status_load();
    return plugin->state != nullptr ? plugin->state : "null";
  }
};

const char kEnabled[] = R"([{"name":"A","handlerstate":"enabled"}])";

TEST_F(PluginRefusals, AForeignStateThatFindsNoMemoryIsLeftOut) {
  const std::string foreign = R"([{"name":"A","handlerstate":"foreign"}])";
  EXPECT_EQ(loaded_state(foreign), "foreign");
  plugin_world::fresh_registry();
  kelvane::Plugin *plugin = pluginManager_Find("A");
  for (int *refusing : {&plugin_world::refuse_malloc, &plugin_world::refuse_calloc}) {
    plugin->state = "before";
    *refusing = refusing == &plugin_world::refuse_malloc ? 2 : 1;  // the file's bytes are the first
    kelvane::plugin_status_load();
    EXPECT_EQ(*refusing, 0);
    EXPECT_EQ(plugin->state, nullptr);
  }
}

TEST_F(PluginRefusals, AStatusFileThatCannotBeLookedAtIsNotRead) {
  EXPECT_EQ(loaded_state(kEnabled), "enabled");
  const refused_stat::Refusal refusal;
  EXPECT_EQ(loaded_state(kEnabled), "null");
}

TEST_F(PluginRefusals, AStatusFileOfMoreThanTwoMegabytesIsNotRead) {
  const size_t length = sizeof kEnabled - 1;
  EXPECT_EQ(loaded_state(kEnabled + std::string(2097152 - length, ' ')), "enabled");
  EXPECT_EQ(loaded_state(kEnabled + std::string(2097153 - length, ' ')), "null");
}

TEST_F(PluginRefusals, WithoutMemoryForAnyPartTheStatusFileStays) {
  kelvane::Plugin *plugin = pluginManager_Find("A");
  plugin->state = "enabled";
  plugin->data->installed = 1;
  pluginManager_Find("B");
  os_.write(kStatusFile, "old");
  constexpr int kValues = 1 + 4 + 6 + 3 + 2;  // the list; and of each plugin what is its own, and its configuration
  for (int nth = 1; nth <= kValues; nth++) {
    recording::clear_trace();
    recording::set_debug_level(nth % 2);
    refuse_value = nth;
    kelvane::plugin_status_save();
    EXPECT_EQ(refuse_value, 0) << nth;
    EXPECT_EQ(os_.read(kStatusFile), "old") << nth;
    EXPECT_EQ(recording::messages(),
              nth % 2 == 0 ? Lines{} : Lines{"[kelvane]: Status Save: no memory for the file, the last one stays\n"});
  }
  refuse_value = kValues + 1;
  kelvane::plugin_status_save();
  EXPECT_EQ(refuse_value, 1) << "none more than these";
  EXPECT_THAT(os_.read(kStatusFile), testing::HasSubstr("\"B\""));
}

// That is meant for it: private data alone is no sign that memory ran out.
TEST_F(PluginRefusals, APluginThatSavesNothingIsWrittenWithoutAConfiguration) {
  plugin_world::OwnPlugin plugin;
  kelvane::PluginCommonData data;
  plugin.name = "A";
  plugin.data = &data.head;
  kelvane::pluginManager_Add(&plugin);
  kelvane::plugin_status_save();
  EXPECT_EQ(os_.read(kStatusFile), "[\n  {\n    \"name\":\"A\",\n    \"version\":\"0.0.0.0\"\n  }\n]");
}

TEST_F(PluginRefusals, WithoutPrivateDataThereIsNoStatus) {
  plugin_world::OwnPlugin plugin;
  kelvane::PluginScratch scratch;
  kelvane::ExtStatus status = {};
  status.code = 7;
  kelvane::plugin_fill_status(&plugin, &scratch, "Enable", "success", "text", &status);
  EXPECT_EQ(status.code, 7u);
  EXPECT_EQ(status.operation, nullptr);
}

TEST_F(PluginRefusals, WithoutANameNoVersionIsFound) {
  EXPECT_EQ(kelvane::pluginManager_FindVersion(nullptr, "1"), nullptr);
}

TEST_F(PluginRefusals, ATranscriptThatFindsNoMemoryLeavesTheMessage) {
  recording::seed_event_hub();
  const std::string settings =
      support::base64(R"({"Logging":{"ApplianceID":"a","Connection":{"PolicySASKey":"k","PolicyName":"p",)"
                      R"("EventHubName":"h","ServiceBusNamespace":"b"}}})");
  char message[256] = "as it was";
  plugin_world::refuse_malloc = 1;
  kelvane::CustomScript_ConfigEventHub(("sh config-eventhub.sh OPID " + settings).c_str(), message, sizeof message);
  EXPECT_EQ(plugin_world::refuse_malloc, 0);
  EXPECT_STREQ(message, "as it was");
  EXPECT_EQ(recording::calls_of("cmf_write_config").size(), 1u);
}

}  // namespace
