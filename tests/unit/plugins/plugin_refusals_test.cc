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
}

namespace {

// The n-th object, or any array, cannot be made; 0 and false: all can.
int refuse_object = 0;
bool refuse_array = false;

}  // namespace

json_object *__wrap_json_object_new_object() {
  const bool refused = refuse_object > 0 && --refuse_object == 0;
  return refused ? nullptr : __real_json_object_new_object();
}

json_object *__wrap_json_object_new_array() {
  return refuse_array ? nullptr : __real_json_object_new_array();
}

namespace {

using kelvane::pluginManager_Find;
using plugin_world::kLinuxAsm;
using plugin_world::kStatusFile;

class PluginRefusals : public PluginTest {
 protected:
  PluginRefusals() { plugin_world::fresh_registry(); }
  ~PluginRefusals() override {
    refuse_object = 0;
    refuse_array = false;
  }

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

TEST_F(PluginRefusals, WithoutAListTheStatusFileStays) {
  os_.write(kStatusFile, "old");
  refuse_array = true;
  kelvane::plugin_status_save();
  EXPECT_EQ(os_.read(kStatusFile), "old");
}

TEST_F(PluginRefusals, APluginThatFindsNoMemoryIsLeftOut) {
  pluginManager_Find("A");
  pluginManager_Find("B");
  refuse_object = 1;
  kelvane::plugin_status_save();
  EXPECT_THAT(os_.read(kStatusFile), testing::Not(testing::HasSubstr("\"A\"")));
  EXPECT_THAT(os_.read(kStatusFile), testing::HasSubstr("\"B\""));
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
