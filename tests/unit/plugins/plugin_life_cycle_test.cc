#include "plugins/plugin_life_cycle.h"

#include "plugins/acknowledging.h"
#include "plugins/custom_script.h"
#include "plugins/vm_access.h"
#include "tests/support/recording_state.h"
#include "tests/unit/plugins/plugin_world.h"

namespace {

using kelvane::Plugin;
using kelvane::PluginCall;
using kelvane::PluginLifeCycle;

// What differs from plugin to plugin; everything else of the life cycle is the same for all.
struct Row {
  const char *name;
  Plugin *(*make)();
  const char *full_name;
  const char *received;
  int32_t received_above;
  int32_t same_number_above;
  const char *first_version;
  const char *state_after_update;
  int64_t time_after_install;
};

const Row kRows[] = {
    {
        .name = "CustomScript",
        .make = kelvane::pluginManager_RegisterCustomScript,
        .full_name = "Microsoft.OSTCExtensions.CustomScriptForLinux",
        .received = "[kelvane]: Custom Script: Received ",
        .received_above = 6,
        .same_number_above = 6,
        .first_version = "0.0.0.0",
        .state_after_update = "enabled",
        .time_after_install = 1700000000,
    },
    {
        .name = "LinuxAsm",
        .make = kelvane::pluginManager_RegisterLinuxAsm,
        .full_name = "Microsoft.Azure.Extensions.LinuxAsm",
        .received = "[kelvane]: LinuxAsm: Received ",
        .received_above = 0,
        .same_number_above = 0,
        .first_version = "0.0.0.0",
        .state_after_update = "installed",
        .time_after_install = 0,
    },
    {
        .name = "LinuxDiagnostic",
        .make = kelvane::pluginManager_RegisterLinuxDiagnostic,
        .full_name = "Microsoft.OSTCExtensions.LinuxDiagnostic",
        .received = "[kelvane]: LinuxDiagnostic: Received ",
        .received_above = 0,
        .same_number_above = 0,
        .first_version = "0.0.0.0",
        .state_after_update = "installed",
        .time_after_install = 0,
    },
    {
        .name = "VMAccessForLinux",
        .make = kelvane::pluginManager_RegisterVMAccessForLinux,
        .full_name = "Microsoft.OSTCExtensions.VMAccessForLinux",
        .received = "[kelvane]: VMAccess: Received ",
        .received_above = 6,
        .same_number_above = 5,
        .first_version = "0.0.0.0",
        .state_after_update = "installed",
        .time_after_install = 0,
    },
    {
        .name = "Thing",
        .make = plugin_world::make_unsupported,
        .full_name = "Some.Maker.Thing",
        .received = "[kelvane]: UnSupported (Thing): Received ",
        .received_above = 6,
        .same_number_above = 0,
        .first_version = "",
        .state_after_update = "installed",
        .time_after_install = 0,
    },
};

class LifeCycle : public EachPluginTest<Row> {
 protected:
  std::string state() const { return plugin_->state != nullptr ? plugin_->state : "absent"; }
  static std::string received(const std::string &command) { return row().received + command + "\n"; }
  static bool holds(const Lines &lines, const std::string &line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
  Lines lines_of(int32_t level, uint32_t number, int32_t sequence_number) {
    recording::clear_trace();
    recording::set_debug_level(level);
    command(plugin_, number, sequence_number);
    return recording::messages();
  }

  kelvane::PluginData *data_ = plugin_->data;
};

INSTANTIATE_TEST_SUITE_P(All, LifeCycle, testing::ValuesIn(kRows),
                         [](const auto &each) { return std::string(each.param.name); });

TEST_P(LifeCycle, BeginsAbsent) {
  EXPECT_STREQ(plugin_->name, row().full_name);
  EXPECT_STREQ(plugin_->short_name, row().name);
  EXPECT_EQ(state(), "absent");
  EXPECT_STREQ(plugin_->version, row().first_version);
  EXPECT_EQ(data_->installed, 0u);
  EXPECT_EQ(data_->sequence_number, -1);
  EXPECT_EQ(data_->command_time, 0);
  EXPECT_STREQ(data_->extension_name, "");
  EXPECT_STREQ(data_->message, "");
}

TEST_P(LifeCycle, InstallAdoptsTheVersion) {
  command(plugin_, 1, 5, nullptr, "1.0.0.0");
  EXPECT_EQ(state(), "installed");
  EXPECT_STREQ(plugin_->version, "1.0.0.0");
  EXPECT_EQ(data_->installed, 1u);
  EXPECT_EQ(data_->command_time, row().time_after_install);
  EXPECT_EQ(data_->sequence_number, -1);
  EXPECT_STREQ(data_->message, "");
  EXPECT_STREQ(data_->extension_name, "instance");
}

TEST_P(LifeCycle, UpdateAdoptsTheVersion) {
  command(plugin_, 3, 5, nullptr, "2.0.0.0");
  EXPECT_EQ(state(), row().state_after_update);
  EXPECT_STREQ(plugin_->version, "2.0.0.0");
  EXPECT_EQ(data_->installed, 1u);
  EXPECT_EQ(data_->command_time, row().time_after_install);
  EXPECT_EQ(data_->sequence_number, -1);
  EXPECT_STREQ(data_->message, "");
  EXPECT_STREQ(data_->extension_name, "instance");
}

TEST_P(LifeCycle, AnUpdateLeavesWhatTheLastEnableLeft) {
  command(plugin_, 4, 5);
  const std::string said = data_->message;
  command(plugin_, 3, 6);
  EXPECT_EQ(data_->sequence_number, 5);
  EXPECT_EQ(data_->command_time, 1700000000);
  EXPECT_STREQ(data_->message, said.c_str());
}

TEST_P(LifeCycle, AnEmptyVersionIsAdoptedToo) {
  command(plugin_, 1);
  command(plugin_, 3, 0, nullptr, "");
  EXPECT_STREQ(plugin_->version, "");
}

TEST_P(LifeCycle, AVersionIsCutTo31Characters) {
  command(plugin_, 1, 0, nullptr, "1234567.1234567.1234567.12345678");
  EXPECT_STREQ(plugin_->version, "1234567.1234567.1234567.1234567");
}

TEST_P(LifeCycle, UninstallAndDisableForget) {
  for (const uint32_t number : {2u, 5u}) {
    command(plugin_, 1);
    command(plugin_, 4, 6);
    kelvane::text_copy_field(data_->message, "said");
    command(plugin_, number, 7);
    EXPECT_EQ(state(), "absent");
    EXPECT_STREQ(plugin_->version, "0.0.0.0");
    EXPECT_EQ(data_->installed, 0u);
    EXPECT_EQ(data_->sequence_number, -1);
    EXPECT_EQ(data_->command_time, 0);
    EXPECT_STREQ(data_->message, "");
    EXPECT_STREQ(data_->extension_name, "instance");
  }
}

TEST_P(LifeCycle, OtherCommandsOnlyTakeTheName) {
  recording::set_debug_level(7);
  for (const uint32_t number : {0u, 6u, 0xFFFFFFFFu}) {
    command(plugin_, number, 3, nullptr, "1.2.3.4", std::to_string(number).c_str());
    EXPECT_EQ(data_->extension_name, std::to_string(number));
  }
  EXPECT_EQ(recording::trace().size(), 3u);
  EXPECT_EQ(recording::messages(), (Lines{received("unknown"), received("unknown"), received("unknown")}));
  EXPECT_EQ(state(), "absent");
  EXPECT_STREQ(plugin_->version, row().first_version);
  EXPECT_EQ(data_->installed, 0u);
  EXPECT_EQ(data_->sequence_number, -1);
  EXPECT_EQ(data_->command_time, 0);
}

TEST_P(LifeCycle, AnEmptyOrMissingExtensionNameKeepsTheOldOne) {
  command(plugin_, 0, 0, nullptr, "", "kept");
  command(plugin_, 0, 0, nullptr, "", "");
  command(plugin_, 0, 0, nullptr, "", nullptr);
  EXPECT_STREQ(data_->extension_name, "kept");
  command(plugin_, 0, 0, nullptr, "", std::string(300, 'e').c_str());
  EXPECT_EQ(std::string(data_->extension_name), std::string(255, 'e'));
}

TEST_P(LifeCycle, ItsFirstLineAndItsLevel) {
  const char *const texts[] = {"installcmd", "uninstallcmd", "updatecmd", "enablecmd", "disablecmd"};
  for (uint32_t number = 1; number <= 5; number++) {
    const std::string line = received(texts[number - 1]);
    EXPECT_EQ(holds(lines_of(row().received_above, number, 6), line), false) << line;
    const Lines above = lines_of(row().received_above + 1, number, 6);
    ASSERT_NE(above, Lines{});
    EXPECT_EQ(above[0], line);
  }
}

TEST_P(LifeCycle, ASecondEnableWithTheSameNumberSaysSo) {
  const std::string line = "[kelvane]: Same seqno -6, not enabling command\n";
  lines_of(0, 4, -6);
  EXPECT_EQ(holds(lines_of(row().same_number_above, 4, -6), line), false);
  EXPECT_EQ(holds(lines_of(row().same_number_above + 1, 4, -6), line), true);
  EXPECT_EQ(holds(lines_of(row().same_number_above + 1, 4, -7), line), false);
}

// An extension that was never enabled has the sequence number -1.
TEST_P(LifeCycle, AnEnableWithTheNumberOfNoneIsSkipped) {
  EXPECT_EQ(holds(lines_of(7, 4, -1), "[kelvane]: Same seqno -1, not enabling command\n"), true);
  EXPECT_STREQ(data_->message, "");
}

TEST_P(LifeCycle, WithoutPrivateDataNothingHappens) {
  Plugin bare = *plugin_;
  bare.data = nullptr;
  for (const uint32_t number : {0u, 1u, 2u, 3u, 4u, 5u}) {
    command(&bare, number);
  }
  EXPECT_EQ(bare.state, nullptr);
  EXPECT_STREQ(bare.version, row().first_version);
  EXPECT_EQ(bare.save(&bare), nullptr);
  bare.load(&bare, nullptr);
  EXPECT_EQ(handler_status_of(&bare), std::string(row().full_name) + "|" + row().first_version + "|NotReady|0||");
}

// ---- what is saved ----

TEST_P(LifeCycle, ANotInstalledOneSavesNothingElse) {
  command(plugin_, 4, 6);
  EXPECT_EQ(saved(plugin_), R"({"installed":0})");
}

TEST_P(LifeCycle, LoadsWhatItSaved) {
  const char text[] = R"({"installed":1,"seqno":6,"cmdtime":1700000000,"extname":"instance","message":"Plugin said"})";
  load(plugin_, text);
  EXPECT_EQ(data_->sequence_number, 6);
  EXPECT_EQ(data_->command_time, 1700000000);
  EXPECT_STREQ(data_->extension_name, "instance");
  EXPECT_STREQ(data_->message, "Plugin said");
  EXPECT_EQ(saved(plugin_), text);
}

TEST_P(LifeCycle, LoadingANullObjectMeansNotInstalled) {
  command(plugin_, 1);
  load(plugin_, nullptr);
  EXPECT_EQ(data_->installed, 0u);
  EXPECT_STREQ(data_->extension_name, "instance");
}

TEST_P(LifeCycle, LoadsTheLargestNumbers) {
  load(plugin_, R"({"installed":2147483647,"seqno":-2147483648,"cmdtime":2147483647})");
  EXPECT_EQ(data_->installed, 2147483647u);
  EXPECT_EQ(data_->sequence_number, INT32_MIN);
  EXPECT_EQ(data_->command_time, INT32_MAX);
  EXPECT_THAT(status_of(plugin_), testing::StartsWith("2038-01-19T03:14:07Z|"));
}

TEST_P(LifeCycle, ACommandTimeIsReadThroughSixtyFourBits) {
  load(plugin_, R"({"installed":1,"cmdtime":2147483648})");
  EXPECT_THAT(status_of(plugin_), testing::StartsWith("2038-01-19T03:14:08Z|"));
}

// Only 0 means that no command set it.
TEST_P(LifeCycle, ACommandTimeBeforeTheEpochIsATimeToo) {
  load(plugin_, R"({"installed":1,"cmdtime":-1})");
  EXPECT_THAT(status_of(plugin_), testing::StartsWith("1969-12-31T23:59:59Z|"));
}

// ---- the way from a command to its step ----

class LifeCycleSteps : public PluginTest {
 protected:
  // The step that the command takes, "none" or several of them.
  std::string taken(uint32_t number) {
    recording::clear_trace();
    const PluginCall call = {"1.2.3.4", "instance", 7, nullptr};
    kelvane::plugin_command(plugin_, &kSteps, number, &call);
    return testing::PrintToString(recording::trace());
  }

  static constexpr PluginLifeCycle kSteps = {
      .install = [](Plugin *, const PluginCall *) { recording::note("install"); },
      .uninstall = [](Plugin *, const PluginCall *) { recording::note("uninstall"); },
      .update = [](Plugin *, const PluginCall *) { recording::note("update"); },
      .enable = [](Plugin *, const PluginCall *) { recording::note("enable"); },
      .disable = [](Plugin *, const PluginCall *) { recording::note("disable"); },
  };
  Plugin *plugin_ = kelvane::pluginManager_RegisterLinuxAsm();
};

TEST_F(LifeCycleSteps, EachCommandTakesItsOwnAlone) {
  EXPECT_EQ(taken(1), "{ \"install\" }");
  EXPECT_EQ(taken(2), "{ \"uninstall\" }");
  EXPECT_EQ(taken(3), "{ \"update\" }");
  EXPECT_EQ(taken(4), "{ \"enable\" }");
  EXPECT_EQ(taken(5), "{ \"disable\" }");
}

TEST_F(LifeCycleSteps, OtherNumbersTakeNone) {
  for (const uint32_t number : {0u, 6u, 7u, 9u, 12u, 260u, 0x10004u, 0x80000004u, 0xFFFFFFFFu}) {
    EXPECT_EQ(taken(number), "{}") << number;
  }
}

}  // namespace
