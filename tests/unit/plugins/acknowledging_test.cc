#include "plugins/acknowledging.h"

#include "plugins/plugin_common.h"
#include "tests/unit/plugins/plugin_world.h"

namespace {

using kelvane::Plugin;
using kelvane::PluginSettings;

struct Case {
  Plugin *(*make)();
  const char *name;
  const char *message;
  json_object *(*save)(Plugin *);
  void (*load)(Plugin *, json_object *);
};

// LinuxAsm and LinuxDiagnostic are one plugin twice.
class Acknowledging : public PluginTest, public testing::WithParamInterface<Case> {
 protected:
  static std::string received(const std::string &text) {
    return std::string("[kelvane]: ") + GetParam().name + ": Received " + text + "\n";
  }
  static std::string saved(Plugin *plugin) {
    const kelvane::JsonOwner object(plugin->save(plugin));
    return json_object_to_json_string_ext(object.get(), JSON_C_TO_STRING_PLAIN);
  }
  static void load(Plugin *plugin, const char *text) {
    const kelvane::JsonOwner object(text != nullptr ? json_tokener_parse(text) : nullptr);
    plugin->load(plugin, object.get());
  }

  Plugin *plugin_ = GetParam().make();
};

INSTANTIATE_TEST_SUITE_P(Both, Acknowledging,
                         testing::Values(Case{kelvane::pluginManager_RegisterLinuxAsm, "LinuxAsm",
                                              "Enable ASM succeeded.", kelvane::LinuxAsmSave, kelvane::LinuxAsmLoad},
                                         Case{kelvane::pluginManager_RegisterLinuxDiagnostic, "LinuxDiagnostic",
                                              "Enable succeeded.", kelvane::LinuxDiagnosticSave,
                                              kelvane::LinuxDiagnosticLoad}),
                         [](const auto &each) { return std::string(each.param.name); });

TEST_P(Acknowledging, HasItsOwnRecord) {
  EXPECT_STREQ(plugin_->short_name, GetParam().name);
  EXPECT_EQ(plugin_->cleanup, nullptr);
  EXPECT_EQ(plugin_->save, GetParam().save);
  EXPECT_EQ(plugin_->load, GetParam().load);
  EXPECT_NE(kelvane::pluginManager_RegisterLinuxAsm()->data, kelvane::pluginManager_RegisterLinuxDiagnostic()->data);
}

TEST_P(Acknowledging, InstallAndUpdateAdoptTheVersionWithoutATime) {
  for (const uint32_t number : {1u, 3u}) {
    plugin_->state = nullptr;
    command(plugin_, number, 0, nullptr, number == 1 ? "1.0.0.0" : "2.0.0.0");
    EXPECT_STREQ(plugin_->state, "installed");
    EXPECT_STREQ(plugin_->version, number == 1 ? "1.0.0.0" : "2.0.0.0");
    EXPECT_EQ(plugin_->data->installed, 1u);
    EXPECT_EQ(plugin_->data->command_time, 0);
    EXPECT_EQ(plugin_->data->sequence_number, -1);
    EXPECT_STREQ(plugin_->data->message, "");
  }
}

TEST_P(Acknowledging, UninstallAndDisableForget) {
  for (const uint32_t number : {2u, 5u}) {
    command(plugin_, 1);
    command(plugin_, 4, 6);
    command(plugin_, number);
    EXPECT_EQ(plugin_->state, nullptr);
    EXPECT_STREQ(plugin_->version, "0.0.0.0");
    EXPECT_EQ(plugin_->data->installed, 0u);
    EXPECT_EQ(plugin_->data->sequence_number, -1);
    EXPECT_EQ(plugin_->data->command_time, 0);
    EXPECT_STREQ(plugin_->data->message, "");
  }
}

TEST_P(Acknowledging, EnableStoresNumberTimeAndMessage) {
  command(plugin_, 1);
  command(plugin_, 4, 6);
  EXPECT_STREQ(plugin_->state, "enabled");
  EXPECT_EQ(plugin_->data->sequence_number, 6);
  EXPECT_EQ(plugin_->data->command_time, 1700000000);
  EXPECT_STREQ(plugin_->data->message, "Plugin enabled");
}

TEST_P(Acknowledging, ASecondEnableWithTheSameNumberRestoresTheStateOnly) {
  command(plugin_, 4, 6);
  os_.now += 100;
  plugin_->state = nullptr;
  kelvane::text_copy_field(plugin_->data->message, "before");
  command(plugin_, 4, 6);
  EXPECT_STREQ(plugin_->state, "enabled");
  EXPECT_EQ(plugin_->data->command_time, 1700000000);
  EXPECT_STREQ(plugin_->data->message, "before");
  command(plugin_, 4, 5);
  EXPECT_EQ(plugin_->data->sequence_number, 5);
  EXPECT_EQ(plugin_->data->command_time, 1700000100);
}

TEST_P(Acknowledging, TheStatusMessageIsTheFixedText) {
  command(plugin_, 1);
  command(plugin_, 4, 6);
  EXPECT_EQ(status_of(plugin_),
            std::string("2023-11-14T22:13:20Z|Enable|success|6|0|") + GetParam().message + "|null|null|0|null|0");
  EXPECT_EQ(handler_status_of(plugin_), std::string(plugin_->name) + "|1.2.3.4|Ready|0|Plugin enabled|instance");
  EXPECT_EQ(saved(plugin_),
            R"({"installed":1,"seqno":6,"cmdtime":1700000000,"extname":"instance","message":"Plugin enabled"})");
}

TEST_P(Acknowledging, WithoutACommandTimeTheTimeStampIsEmpty) {
  command(plugin_, 1);
  EXPECT_EQ(status_of(plugin_), std::string("|Enable|success|-1|0|") + GetParam().message + "|null|null|0|null|0");
}

TEST_P(Acknowledging, EnableBeforeInstallReportsNothing) {
  command(plugin_, 4, 6);
  EXPECT_STREQ(plugin_->state, "enabled");
  EXPECT_EQ(plugin_->data->installed, 0u);
  EXPECT_EQ(status_of(plugin_), "null|untouched|null|0|0|null|untouched|null|0|null|0");
  EXPECT_EQ(handler_status_of(plugin_), std::string(plugin_->name) + "|0.0.0.0|NotReady|0|Plugin enabled|instance");
}

TEST_P(Acknowledging, OtherCommandsOnlyTakeTheName) {
  recording::set_debug_level(7);
  for (const uint32_t number : {0u, 6u}) {
    command(plugin_, number, 3);
  }
  EXPECT_EQ(recording::messages(), (Lines{received("unknown"), received("unknown")}));
  EXPECT_STREQ(plugin_->data->extension_name, "instance");
  EXPECT_EQ(plugin_->state, nullptr);
  EXPECT_EQ(plugin_->data->installed, 0u);
  EXPECT_EQ(plugin_->data->sequence_number, -1);
}

TEST_P(Acknowledging, AnEmptyOrMissingExtensionNameKeepsTheOldOne) {
  command(plugin_, 0, 0, nullptr, "", "kept");
  command(plugin_, 0, 0, nullptr, "", "");
  command(plugin_, 0, 0, nullptr, "", nullptr);
  EXPECT_STREQ(plugin_->data->extension_name, "kept");
  command(plugin_, 0, 0, nullptr, "", std::string(300, 'e').c_str());
  EXPECT_EQ(std::string(plugin_->data->extension_name), std::string(255, 'e'));
}

TEST_P(Acknowledging, ItsLinesAndTheirLevels) {
  const PluginSettings settings = {"runtime", "{\"a\":1}", "MIIB", "AA"};
  const Lines texts = {"[kelvane]: Enabled publicSettings: '{\"a\":1}'\n",
                       "[kelvane]: Enabled protectedSettings: 'MIIB'\n"};
  const std::string same = "[kelvane]: Same seqno 6, not enabling command\n";
  command(plugin_, 4, 6);
  const auto lines = [&](int32_t level) {
    recording::clear_trace();
    recording::set_debug_level(level);
    command(plugin_, 4, 6, &settings);
    return recording::messages();
  };
  EXPECT_EQ(lines(0), Lines{});
  EXPECT_EQ(lines(1), (Lines{received("enablecmd"), same}));
  EXPECT_EQ(lines(2), (Lines{received("enablecmd"), texts[0], texts[1], same}));
}

TEST_P(Acknowledging, MissingSettingsAreLoggedAsEmpty) {
  recording::set_debug_level(2);
  const PluginSettings settings = {};
  const Lines expected = {received("enablecmd"), "[kelvane]: Enabled publicSettings: ''\n",
                          "[kelvane]: Enabled protectedSettings: ''\n"};
  command(plugin_, 4, 6, nullptr);
  EXPECT_EQ(recording::messages(), expected);
  recording::clear_trace();
  command(plugin_, 4, 7, &settings);
  EXPECT_EQ(recording::messages(), expected);
}

TEST_P(Acknowledging, NothingOfTheSettingsIsRead) {
  const PluginSettings settings = {nullptr, "no JSON", "no base64", nullptr};
  command(plugin_, 4, 6, &settings);
  EXPECT_EQ(recording::trace(), Lines{});
  EXPECT_STREQ(plugin_->state, "enabled");
}

TEST_P(Acknowledging, ANotInstalledOneSavesNothingElse) {
  command(plugin_, 4, 6);
  EXPECT_EQ(saved(plugin_), R"({"installed":0})");
}

TEST_P(Acknowledging, LoadsWhatItSaved) {
  load(plugin_, R"({"installed":1,"seqno":6,"cmdtime":1700000000,"extname":"instance","message":"Plugin enabled"})");
  EXPECT_EQ(saved(plugin_),
            R"({"installed":1,"seqno":6,"cmdtime":1700000000,"extname":"instance","message":"Plugin enabled"})");
}

TEST_P(Acknowledging, LoadingANullObjectMeansNotInstalled) {
  command(plugin_, 1);
  load(plugin_, nullptr);
  EXPECT_EQ(plugin_->data->installed, 0u);
  EXPECT_STREQ(plugin_->data->extension_name, "instance");
}

TEST_P(Acknowledging, WithoutPrivateDataSavesAndLoadsNothing) {
  Plugin bare = *plugin_;
  bare.data = nullptr;
  EXPECT_EQ(bare.save(&bare), nullptr);
  bare.load(&bare, nullptr);
  EXPECT_EQ(status_of(&bare), "null|untouched|null|0|0|null|untouched|null|0|null|0");
}

TEST_P(Acknowledging, LoadsTheLargestNumbers) {
  load(plugin_, R"({"installed":2147483647,"seqno":-2147483648,"cmdtime":2147483647})");
  EXPECT_EQ(plugin_->data->installed, 2147483647u);
  EXPECT_EQ(plugin_->data->sequence_number, INT32_MIN);
  EXPECT_EQ(plugin_->data->command_time, INT32_MAX);
  EXPECT_THAT(status_of(plugin_), testing::StartsWith("2038-01-19T03:14:07Z|"));
}

}  // namespace
