#include "plugins/unsupported.h"

#include "tests/unit/plugins/plugin_world.h"

namespace {

using kelvane::Plugin;
using kelvane::pluginManager_RegisterUnSupported;

class UnSupported : public PluginTest {
 protected:
  UnSupported() { plugin_ = pluginManager_RegisterUnSupported("Some.Maker.Thing", nullptr); }
  ~UnSupported() override { plugin_->cleanup(plugin_); }

  Plugin *plugin_ = nullptr;
};

TEST_F(UnSupported, ANullNameGivesNothing) {
  EXPECT_EQ(pluginManager_RegisterUnSupported(nullptr, "short"), nullptr);
}

TEST_F(UnSupported, ItsRecordAtFirst) {
  EXPECT_EQ(plugin_->state, nullptr);
  EXPECT_STREQ(plugin_->name, "Some.Maker.Thing");
  EXPECT_STREQ(plugin_->short_name, "Thing");
  EXPECT_STREQ(plugin_->version, "");
  EXPECT_EQ(plugin_->data->installed, 0u);
  EXPECT_EQ(plugin_->data->sequence_number, -1);
  EXPECT_EQ(plugin_->data->command_time, 0);
  EXPECT_STREQ(plugin_->data->extension_name, "");
  EXPECT_STREQ(plugin_->data->message, "");
  EXPECT_EQ(plugin_->save, &kelvane::UnSupportedSave);
  EXPECT_EQ(plugin_->load, &kelvane::UnSupportedLoad);
}

TEST_F(UnSupported, TheShortNameStandsBehindTheLastDot) {
  const char *const cases[][2] = {{"A.B.C", "C"}, {"Whole", "Whole"}, {"A.", ""}, {".A", "A"}, {"", ""}, {"..", ""}};
  for (const auto &each : cases) {
    Plugin *plugin = pluginManager_RegisterUnSupported(each[0], nullptr);
    EXPECT_STREQ(plugin->name, each[0]);
    EXPECT_STREQ(plugin->short_name, each[1]);
    plugin->cleanup(plugin);
  }
}

TEST_F(UnSupported, BothNamesAreCopies) {
  char name[] = "A.B";
  char short_name[] = "given";
  Plugin *plugin = pluginManager_RegisterUnSupported(name, short_name);
  memset(name, 'x', sizeof name - 1);
  memset(short_name, 'x', sizeof short_name - 1);
  EXPECT_STREQ(plugin->name, "A.B");
  EXPECT_STREQ(plugin->short_name, "given");
  plugin->cleanup(plugin);
}

TEST_F(UnSupported, WithoutMemoryForItsDataItDoesNothingElse) {
  plugin_world::refuse_calloc = 2;
  Plugin *plugin = pluginManager_RegisterUnSupported("A.B", nullptr);
  ASSERT_NE(plugin, nullptr);
  EXPECT_EQ(plugin->data, nullptr);
  EXPECT_EQ(plugin->save(plugin), nullptr);
  plugin->load(plugin, nullptr);
  for (const uint32_t number : {0u, 1u, 2u, 3u, 4u, 5u}) {
    command(plugin, number);
  }
  EXPECT_EQ(status_of(plugin), "null|untouched|null|0|0|null|untouched|null|0|null|0");
  EXPECT_EQ(handler_status_of(plugin), "A.B||NotReady|0||");
  plugin->cleanup(plugin);
}

TEST_F(UnSupported, ReportsNotSupportedOnceInstalled) {
  EXPECT_EQ(status_of(plugin_), "null|untouched|null|0|0|null|untouched|null|0|null|0");
  command(plugin_, 1);
  EXPECT_EQ(status_of(plugin_), "|Enable|error|-1|0|Not supported.|null|null|0|null|0");
  command(plugin_, 4, 6);
  EXPECT_EQ(status_of(plugin_), "2023-11-14T22:13:20Z|Enable|error|6|0|Not supported.|null|null|0|null|0");
  EXPECT_EQ(handler_status_of(plugin_), "Some.Maker.Thing|1.2.3.4|Ready|0|Plugin enabled|instance");
}

TEST_F(UnSupported, LongNamesAreCutInTheHandlerStatus) {
  const std::string name(200, 'n');
  Plugin *plugin = pluginManager_RegisterUnSupported(name.c_str(), nullptr);
  command(plugin, 1, 0, nullptr, std::string(60, 'v').c_str(), std::string(300, 'e').c_str());
  kelvane::text_copy_field(plugin->data->message, std::string(200, 'm').c_str());
  EXPECT_EQ(std::string(plugin->data->extension_name), std::string(255, 'e'));
  EXPECT_EQ(handler_status_of(plugin), std::string(127, 'n') + "|" + std::string(31, 'v') + "|Ready|0|" +
                                           std::string(127, 'm') + "|" + std::string(127, 'e'));
  plugin->cleanup(plugin);
}

TEST_F(UnSupported, TextsAreCutBetweenCharacters) {
  const std::string name = std::string(126, 'n') + "\u00e4";
  const std::string message = std::string(125, 'm') + "\u20ac";
  Plugin *plugin = pluginManager_RegisterUnSupported(name.c_str(), nullptr);
  command(plugin, 0, 0, nullptr, "", (std::string(252, 'e') + "\U0001F600").c_str());
  kelvane::text_copy_field(plugin->data->message, message.c_str());
  EXPECT_EQ(std::string(plugin->data->extension_name), std::string(252, 'e'));
  EXPECT_EQ(handler_status_of(plugin),
            std::string(126, 'n') + "||NotReady|0|" + std::string(125, 'm') + "|" + std::string(127, 'e'));
  plugin->cleanup(plugin);
}

TEST_F(UnSupported, TheHandlerStatusIsZeroBehindItsTexts) {
  command(plugin_, 1);
  kelvane::ExtHandlerStatus status;
  memset(static_cast<void *>(&status), 0x5A, sizeof status);
  plugin_->handler_status(plugin_, &status);
  kelvane::ExtHandlerStatus expected = {};
  strcpy(expected.name, "Some.Maker.Thing");
  strcpy(expected.version, "1.2.3.4");
  strcpy(expected.status, "Ready");
  strcpy(expected.extension_name, "instance");
  EXPECT_EQ(memcmp(&status, &expected, sizeof status), 0);
}

}  // namespace
