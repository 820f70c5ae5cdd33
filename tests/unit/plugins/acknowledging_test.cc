#include "plugins/acknowledging.h"

#include "plugins/plugin_common.h"
#include "tests/unit/plugins/plugin_world.h"

namespace {

using kelvane::Plugin;
using kelvane::PluginSettings;

// LinuxAsm, LinuxDiagnostic and the one that stands in for unknown extensions differ in texts and levels alone.
struct Row {
  const char *name;
  Plugin *(*make)();
  const char *received;
  int32_t received_above;
  const char *status;
  const char *message;
  const char *first_version;
};

const Row kRows[] = {
    {
        .name = "LinuxAsm",
        .make = kelvane::pluginManager_RegisterLinuxAsm,
        .received = "[kelvane]: LinuxAsm: Received enablecmd\n",
        .received_above = 0,
        .status = "success",
        .message = "Enable ASM succeeded.",
        .first_version = "0.0.0.0",
    },
    {
        .name = "LinuxDiagnostic",
        .make = kelvane::pluginManager_RegisterLinuxDiagnostic,
        .received = "[kelvane]: LinuxDiagnostic: Received enablecmd\n",
        .received_above = 0,
        .status = "success",
        .message = "Enable succeeded.",
        .first_version = "0.0.0.0",
    },
    {
        .name = "UnSupported",
        .make = plugin_world::make_unsupported,
        .received = "[kelvane]: UnSupported (Thing): Received enablecmd\n",
        .received_above = 6,
        .status = "error",
        .message = "Not supported.",
        .first_version = "",
    },
};

class Acknowledging : public EachPluginTest<Row> {
 protected:
  // Behind the time stamp.
  static std::string reported(int32_t sequence_number) {
    return std::string("|Enable|") + row().status + "|" + std::to_string(sequence_number) + "|0|" + row().message +
           "|null|null|0|null|0";
  }
  // The lines of an enable at that level: the first one, and the others as expected.
  void expect_lines(int32_t level, int32_t sequence_number, const PluginSettings *settings, const Lines &others) {
    recording::clear_trace();
    recording::set_debug_level(level);
    command(plugin_, 4, sequence_number, settings);
    const Lines first = level > row().received_above ? Lines{row().received} : Lines{};
    EXPECT_EQ(recording::messages(), first + others) << level;
  }
};

INSTANTIATE_TEST_SUITE_P(All, Acknowledging, testing::ValuesIn(kRows),
                         [](const auto &each) { return std::string(each.param.name); });

using AcknowledgingPair = PluginTest;

TEST_F(AcknowledgingPair, RecordsAreTheirOwn) {
  Plugin *const asm_record = kelvane::pluginManager_RegisterLinuxAsm();
  Plugin *const diagnostic = kelvane::pluginManager_RegisterLinuxDiagnostic();
  EXPECT_EQ(asm_record, kelvane::pluginManager_RegisterLinuxAsm());
  EXPECT_NE(asm_record->data, diagnostic->data);
  for (const Plugin *each : {asm_record, diagnostic}) {
    EXPECT_EQ(each->cleanup, nullptr);
    EXPECT_EQ(each->handler_status, &kelvane::plugin_handler_status);
  }
  EXPECT_EQ(asm_record->save, &kelvane::LinuxAsmSave);
  EXPECT_EQ(asm_record->load, &kelvane::LinuxAsmLoad);
  EXPECT_EQ(diagnostic->save, &kelvane::LinuxDiagnosticSave);
  EXPECT_EQ(diagnostic->load, &kelvane::LinuxDiagnosticLoad);
}

// A time stamp stays as it was handed out while the other plugin's is made.
TEST_F(AcknowledgingPair, TimeStampsAreTheirOwn) {
  Plugin *const asm_record = kelvane::pluginManager_RegisterLinuxAsm();
  Plugin *const diagnostic = kelvane::pluginManager_RegisterLinuxDiagnostic();
  load(asm_record, R"({"installed":1,"cmdtime":1})");
  load(diagnostic, R"({"installed":1,"cmdtime":2})");
  kelvane::ExtStatus first = {};
  kelvane::ExtStatus second = {};
  asm_record->status(asm_record, &first);
  diagnostic->status(diagnostic, &second);
  EXPECT_STREQ(first.configuration_applied_time, "1970-01-01T00:00:01Z");
  EXPECT_STREQ(second.configuration_applied_time, "1970-01-01T00:00:02Z");
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
  EXPECT_EQ(status_of(plugin_), "2023-11-14T22:13:20Z" + reported(6));
  EXPECT_EQ(handler_status_of(plugin_), std::string(plugin_->name) + "|1.2.3.4|Ready|0|Plugin enabled|instance");
  EXPECT_EQ(saved(plugin_),
            R"({"installed":1,"seqno":6,"cmdtime":1700000000,"extname":"instance","message":"Plugin enabled"})");
}

TEST_P(Acknowledging, WithoutACommandTimeTheTimeStampIsEmpty) {
  command(plugin_, 1);
  EXPECT_EQ(status_of(plugin_), reported(-1));
}

TEST_P(Acknowledging, EnableBeforeInstallReportsNothing) {
  command(plugin_, 4, 6);
  EXPECT_STREQ(plugin_->state, "enabled");
  EXPECT_EQ(plugin_->data->installed, 0u);
  EXPECT_EQ(status_of(plugin_), "null|untouched|null|0|0|null|untouched|null|0|null|0");
  EXPECT_EQ(handler_status_of(plugin_),
            std::string(plugin_->name) + "|" + row().first_version + "|NotReady|0|Plugin enabled|instance");
}

TEST_P(Acknowledging, ItsLinesAndTheirLevels) {
  const PluginSettings settings = {"runtime", "{\"a\":1}", "MIIB", "AA"};
  const Lines texts = {"[kelvane]: Enabled publicSettings: '{\"a\":1}'\n",
                       "[kelvane]: Enabled protectedSettings: 'MIIB'\n"};
  const Lines same = {"[kelvane]: Same seqno 6, not enabling command\n"};
  command(plugin_, 4, 6);
  expect_lines(0, 6, &settings, {});
  expect_lines(1, 6, &settings, same);
  expect_lines(2, 6, &settings, texts + same);
  expect_lines(6, 6, &settings, texts + same);
  expect_lines(7, 6, &settings, texts + same);
}

TEST_P(Acknowledging, MissingSettingsAreLoggedAsEmpty) {
  const PluginSettings settings = {};
  const Lines empty = {"[kelvane]: Enabled publicSettings: ''\n", "[kelvane]: Enabled protectedSettings: ''\n"};
  expect_lines(2, 6, nullptr, empty);
  expect_lines(2, 7, &settings, empty);
}

TEST_P(Acknowledging, NothingOfTheSettingsIsRead) {
  const PluginSettings settings = {nullptr, "no JSON", "no base64", nullptr};
  command(plugin_, 4, 6, &settings);
  EXPECT_EQ(recording::trace(), Lines{});
  EXPECT_STREQ(plugin_->state, "enabled");
}

}  // namespace
