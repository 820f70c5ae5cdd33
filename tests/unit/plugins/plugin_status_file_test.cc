#include "plugins/plugin_status_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "core/base/file.h"
#include "plugins/plugin_registry.h"
#include "tests/unit/plugins/plugin_world.h"

extern "C" {
const char *__real_json_object_to_json_string_ext(json_object *value, int flags);
const char *__wrap_json_object_to_json_string_ext(json_object *value, int flags);
}

// The texts, counted from 1, that json-c has no memory for: from the first one to the last one.
static int gsFirstWithoutText = 0;
static int gsLastWithoutText = 0;
static int gsTexts = 0;

const char *__wrap_json_object_to_json_string_ext(json_object *value, int flags) {
  gsTexts++;
  const bool refused = gsTexts >= gsFirstWithoutText && gsTexts <= gsLastWithoutText;
  return refused ? nullptr : __real_json_object_to_json_string_ext(value, flags);
}

namespace {

using kelvane::Plugin;
using kelvane::plugin_registry_count;
using kelvane::plugin_status_load;
using kelvane::plugin_status_save;
using kelvane::pluginManager_Find;
using plugin_world::kStatusFile;

// What is written when nothing has happened yet.
const char kAtFirst[] = R"([
  {
    "name":"Microsoft.OSTCExtensions.CustomScriptForLinux",
    "version":"0.0.0.0",
    "config":{
      "installed":0
    }
  },
  {
    "name":"Microsoft.Azure.Extensions.LinuxAsm",
    "version":"0.0.0.0",
    "config":{
      "installed":0
    }
  },
  {
    "name":"Microsoft.OSTCExtensions.LinuxDiagnostic",
    "version":"0.0.0.0",
    "config":{
      "installed":0
    }
  },
  {
    "name":"Microsoft.OSTCExtensions.VMAccessForLinux",
    "version":"0.0.0.0",
    "config":{
      "installed":0
    }
  }
])";

// One plugin with everything.
const char kFull[] = R"([
  {
    "name":"A.B",
    "version":"1.2.3.4",
    "handlerstate":"enabled",
    "config":{
      "installed":1,
      "seqno":7,
      "cmdtime":1700000000,
      "extname":"an \"instance\"",
      "message":"one\ntwo"
    }
  }
])";

// Versions of the library differ in the line end.
const auto kEmptyArray = testing::AnyOf("[]", "[\n]");

class PluginStatusFile : public PluginTest {
 protected:
  // The first plugin after loading: "name|version|state|installed|sequence|time|extension name|message".
  std::string loaded(const std::string &bytes) {
    plugin_world::fresh_registry();
    os_.write(kStatusFile, bytes);
    plugin_status_load();
    return plugin_registry_count() == 0 ? "none" : shown(kelvane::plugin_registry_at(0));
  }
  static std::string shown(const Plugin *plugin) {
    const kelvane::PluginData *data = plugin->data;
    return std::string(plugin->name) + "|" + plugin->version + "|" +
           (plugin->state != nullptr ? plugin->state : "absent") + "|" + std::to_string(data->installed) + "|" +
           std::to_string(data->sequence_number) + "|" + std::to_string(data->command_time) + "|" +
           data->extension_name + "|" + data->message;
  }
  std::string saved() {
    plugin_status_save();
    return os_.read(kStatusFile);
  }
};

const char kFullShown[] = "A.B|1.2.3.4|enabled|1|7|1700000000|an \"instance\"|one\ntwo";

TEST_F(PluginStatusFile, OfTheBuiltInPluginsAtFirst) {
  kelvane::pluginManager_Init();
  EXPECT_EQ(saved(), kAtFirst);
  EXPECT_EQ(support::mode_of(os_.real(kStatusFile)), 0600);
}

TEST_F(PluginStatusFile, WithoutPluginsIsAnEmptyArray) {
  EXPECT_THAT(saved(), kEmptyArray);
}

TEST_F(PluginStatusFile, AnEmptySlotIsLeftOut) {
  plugin_world::OwnPlugin gone;
  gone.name = "gone";
  kelvane::pluginManager_Add(&gone);
  plugin_world::empty_slot(0);
  EXPECT_THAT(saved(), kEmptyArray);
}

TEST_F(PluginStatusFile, WhatWasLoadedIsSavedAgainToTheByte) {
  EXPECT_EQ(loaded(kFull), kFullShown);
  EXPECT_EQ(saved(), kFull);
}

TEST_F(PluginStatusFile, DeletesTheOldFileAndWritesANewOneInOnePiece) {
  os_.write(kStatusFile, std::string(5000, 'x'));
  os_.hide({"time", "close"});
  recording::clear_trace();
  plugin_status_save();
  EXPECT_EQ(recording::trace(),
            (Lines{"unlink(\"/data/etc/.plugin_status\")", "open(\"/data/etc/.plugin_status\", create, 0600)"}));
  EXPECT_THAT(os_.read(kStatusFile), kEmptyArray);
}

TEST_F(PluginStatusFile, ALinkInItsPlaceIsReplacedAndNotFollowed) {
  os_.write("/etc/other", "precious");
  ASSERT_EQ(symlink(os_.real("/etc/other").c_str(), os_.real(kStatusFile).c_str()), 0);
  EXPECT_THAT(saved(), kEmptyArray);
  EXPECT_EQ(os_.read("/etc/other"), "precious");
}

TEST_F(PluginStatusFile, ALinkInItsPlaceIsRead) {
  os_.write("/etc/other", kFull);
  ASSERT_EQ(symlink(os_.real("/etc/other").c_str(), os_.real(kStatusFile).c_str()), 0);
  plugin_status_load();
  ASSERT_EQ(plugin_registry_count(), 1);
  EXPECT_EQ(shown(kelvane::plugin_registry_at(0)), kFullShown);
}

TEST_F(PluginStatusFile, AFailedWriteIsSilent) {
  recording::set_debug_level(7);
  os_.fail("open(\"/data/etc/.plugin_status\", create, 0600)", ENOSPC);
  plugin_status_save();
  EXPECT_FALSE(os_.exists(kStatusFile));
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(PluginStatusFile, AFolderInItsPlaceIsLeftAloneSilently) {
  recording::set_debug_level(7);
  ASSERT_EQ(mkdir(os_.real(kStatusFile).c_str(), 0700), 0);
  plugin_status_load();
  plugin_status_save();
  EXPECT_EQ(plugin_registry_count(), 0);
  EXPECT_EQ(support::mode_of(os_.real(kStatusFile)), 0700);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(PluginStatusFile, APipeInItsPlaceIsNotWaitedForAndThenReplaced) {
  ASSERT_EQ(mkfifo(os_.real(kStatusFile).c_str(), 0600), 0);
  plugin_status_load();
  EXPECT_EQ(plugin_registry_count(), 0);
  plugin_status_save();
  struct stat about = {};
  ASSERT_EQ(lstat(os_.real(kStatusFile).c_str(), &about), 0);
  EXPECT_TRUE(S_ISREG(about.st_mode));
}

TEST_F(PluginStatusFile, WhatAPipeHoldsIsNotRead) {
  ASSERT_EQ(mkfifo(os_.real(kStatusFile).c_str(), 0600), 0);
  kelvane::DescriptorOwner reader(kelvane::file_open_to_read(os_.real(kStatusFile).c_str()));
  kelvane::DescriptorOwner writer(open(os_.real(kStatusFile).c_str(), O_WRONLY));
  ASSERT_EQ(kelvane::file_write_full(writer.get(), kFull, strlen(kFull)), 0);
  writer.close_now();  // so that it holds the whole file, and its end
  plugin_status_load();
  EXPECT_EQ(plugin_registry_count(), 0);
}

TEST_F(PluginStatusFile, MissingLeavesTheDefaultsSilently) {
  recording::set_debug_level(7);
  kelvane::pluginManager_Init();
  EXPECT_EQ(plugin_registry_count(), 4);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(PluginStatusFile, UnreadableLeavesTheDefaultsSilently) {
  recording::set_debug_level(7);
  os_.write(kStatusFile, kFull);
  os_.fail("open(\"/data/etc/.plugin_status\", read)", EACCES);
  plugin_status_load();
  EXPECT_EQ(plugin_registry_count(), 0);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(PluginStatusFile, CutOffAnywhereLeavesTheDefaults) {
  recording::set_debug_level(7);
  const std::string whole = kFull;
  for (size_t length = 0; length < whole.size(); length++) {
    ASSERT_EQ(loaded(whole.substr(0, length)), "none") << length;
  }
  EXPECT_EQ(recording::messages(), Lines{});
  EXPECT_EQ(loaded(whole), kFullShown);
}

TEST_F(PluginStatusFile, OtherValuesThanAnArrayLeaveTheDefaults) {
  for (const char *text : {"{}", "{\"name\":\"A.B\"}", "null", "1", "\"A.B\"", "true", "no JSON", " ", "\xff\xfe"}) {
    EXPECT_EQ(loaded(text), "none") << text;
  }
}

TEST_F(PluginStatusFile, ElementsWithoutANameAreSkipped) {
  EXPECT_EQ(loaded(R"([{"version":"1.0.0.0"},{"name":7},{"name":null},null,[],"A",5,{"name":"B"}])"),
            "B||absent|0|-1|0||");
  EXPECT_EQ(plugin_registry_count(), 1);
}

TEST_F(PluginStatusFile, TextsOfOtherTypesCountAsMissing) {
  EXPECT_EQ(loaded(R"([{"name":"B","version":1,"handlerstate":["enabled"]}])"), "B||absent|0|-1|0||");
}

TEST_F(PluginStatusFile, AConfigurationOfAnotherTypeMeansNotInstalled) {
  for (const char *config : {"null", "7", "\"text\"", "[1]", "true"}) {
    EXPECT_EQ(loaded(std::string(R"([{"name":"B","version":"1.0.0.0","config":)") + config + "}]"),
              "B|1.0.0.0|absent|0|-1|0||");
  }
}

TEST_F(PluginStatusFile, MissingNumbersOfAnInstalledPluginAreZero) {
  EXPECT_EQ(loaded(R"([{"name":"B","config":{"installed":1}}])"), "B||absent|1|0|0||");
  EXPECT_EQ(loaded(R"([{"name":"B","config":{"installed":1,"seqno":"7","cmdtime":1.5,"extname":3,"message":null}}])"),
            "B||absent|1|0|0||");
}

TEST_F(PluginStatusFile, OfANotInstalledPluginNothingElseIsTaken) {
  for (const char *installed : {"0", "\"1\"", "true", "1.0", "null"}) {
    EXPECT_EQ(loaded(std::string(R"([{"name":"B","config":{"installed":)") + installed +
                     R"(,"seqno":7,"cmdtime":8,"extname":"e","message":"m"}}])"),
              "B||absent|0|-1|0||")
        << installed;
  }
}

TEST_F(PluginStatusFile, AnotherStateIsKeptAsItIs) {
  EXPECT_EQ(loaded(R"([{"name":"B","version":"1.0.0.0","handlerstate":"Enabled"}])"), "B|1.0.0.0|Enabled|0|-1|0||");
  EXPECT_STREQ(kelvane::pluginManager_GetState("B", "1.0.0.0"), "Enabled");
  EXPECT_EQ(saved(), R"([
  {
    "name":"B",
    "version":"1.0.0.0",
    "handlerstate":"Enabled",
    "config":{
      "installed":0
    }
  }
])");
}

TEST_F(PluginStatusFile, AnEmptyStateIsAStateToo) {
  EXPECT_EQ(loaded(R"([{"name":"B","handlerstate":""}])"), "B|||0|-1|0||");
}

TEST_F(PluginStatusFile, AnEmptyVersionIsAVersionToo) {
  EXPECT_EQ(loaded(R"([{"name":"B","version":"1.0.0.0"},{"name":"B","version":""}])"), "B||absent|0|-1|0||");
}

TEST_F(PluginStatusFile, TheTwoUsualStatesAreTheSharedConstants) {
  loaded(R"([{"name":"B","handlerstate":"enabled"},{"name":"C","handlerstate":"installed"}])");
  EXPECT_EQ(pluginManager_Find("B")->state, kelvane::kPluginStateEnabled);
  EXPECT_EQ(pluginManager_Find("C")->state, kelvane::kPluginStateInstalled);
}

TEST_F(PluginStatusFile, WithoutMemoryForAStateItIsAbsent) {
  plugin_world::fresh_registry();
  os_.write(kStatusFile, R"([{"name":"B","handlerstate":"other"}])");
  Plugin *plugin = pluginManager_Find("B");
  plugin_world::refuse_calloc = 1;
  plugin_status_load();
  EXPECT_EQ(plugin->state, nullptr);
}

TEST_F(PluginStatusFile, LaterElementsOfOneNameOverwriteEarlierOnes) {
  EXPECT_EQ(loaded(R"([{"name":"B","version":"1.0.0.0"},{"name":"B","handlerstate":"installed"}])"),
            "B|1.0.0.0|installed|0|-1|0||");
  EXPECT_EQ(plugin_registry_count(), 1);
}

TEST_F(PluginStatusFile, ALaterConfigurationThatIsNoObjectMeansNotInstalled) {
  const std::string first =
      R"([{"name":"B","version":"1.0.0.0","config":{"installed":1,"seqno":7,"cmdtime":8,"extname":"e","message":"m"}},)";
  for (const char *config : {"null", "7", "\"text\"", "[1]", "{}"}) {
    EXPECT_EQ(loaded(first + R"({"name":"B","config":)" + config + "}]"), "B|1.0.0.0|absent|0|7|8|e|m") << config;
  }
  EXPECT_EQ(loaded(first + R"({"name":"B"}])"), "B|1.0.0.0|absent|1|7|8|e|m");
}

TEST_F(PluginStatusFile, ABuiltInPluginIsNotMadeAnew) {
  os_.write(kStatusFile, R"([{"name":"Microsoft.Azure.Extensions.LinuxAsm","version":"9.8.7.6"}])");
  kelvane::pluginManager_Init();
  EXPECT_EQ(plugin_registry_count(), 4);
  EXPECT_STREQ(pluginManager_Find(plugin_world::kLinuxAsm)->version, "9.8.7.6");
}

TEST_F(PluginStatusFile, AnUnknownNameIsMadeAgainAsUnsupported) {
  os_.write(kStatusFile, R"([{"name":"Some.Maker.Thing","version":"1.0.0.0","config":{"installed":1}}])");
  kelvane::pluginManager_Init();
  ASSERT_EQ(plugin_registry_count(), 5);
  Plugin *plugin = pluginManager_Find("Some.Maker.Thing");
  EXPECT_STREQ(plugin->short_name, "Thing");
  EXPECT_EQ(status_of(plugin), "|Enable|error|0|0|Not supported.|null|null|0|null|0");
}

TEST_F(PluginStatusFile, EachElementIsLoggedAboveSix) {
  recording::set_debug_level(7);
  loaded(R"([{"name":"B","version":"1.0.0.0","handlerstate":"other"},{"version":"2"},{"name":"C"}])");
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: Status Load (B): version: '1.0.0.0', handlerstate: 'other'\n",
                                          "[kelvane]: Status Load (C): version: '', handlerstate: ''\n"}));
  recording::clear_trace();
  recording::set_debug_level(6);
  loaded(R"([{"name":"B"}])");
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(PluginStatusFile, TextsAreCutToTheirFields) {
  const std::string version(40, '1');
  const std::string text(300, 'm');
  EXPECT_EQ(loaded(R"([{"name":"B","version":")" + version + R"(","config":{"installed":1,"extname":")" + text +
                   R"(","message":")" + text + R"("}}])"),
            "B|" + std::string(31, '1') + "|absent|1|0|0|" + std::string(255, 'm') + "|" + std::string(255, 'm'));
}

TEST_F(PluginStatusFile, TextsAreCutBetweenCharacters) {
  std::string text(254, 'm');
  EXPECT_EQ(loaded(R"([{"name":"B","config":{"installed":1,"message":")" + text + "\u00e4\u00e4\"}}])"),
            "B||absent|1|0|0||" + text);
}

TEST_F(PluginStatusFile, TheCommandTimeIsWrittenThroughThirtyTwoBits) {
  Plugin *plugin = pluginManager_Find("B");
  plugin->data->installed = 1;
  plugin->data->command_time = 0x100000005;
  EXPECT_THAT(saved(), testing::HasSubstr("\"cmdtime\":5,"));
  plugin->data->command_time = 0x80000000;
  EXPECT_THAT(saved(), testing::HasSubstr("\"cmdtime\":-2147483648,"));
}

TEST_F(PluginStatusFile, SaysWhatEveryPluginThatWasEverAskedForHas) {
  kelvane::pluginManager_Init();
  EXPECT_EQ(kelvane::pluginManager_GetState("Some.Maker.Thing", ""), nullptr);
  std::string expected(kAtFirst, sizeof kAtFirst - 3);  // without the end of the array
  expected += R"(,
  {
    "name":"Some.Maker.Thing",
    "version":"",
    "config":{
      "installed":0
    }
  }
])";
  EXPECT_EQ(saved(), expected);
}

TEST_F(PluginStatusFile, APluginWithoutPrivateDataHasNoConfiguration) {
  plugin_world::refuse_calloc = 2;
  ASSERT_EQ(pluginManager_Find("B")->data, nullptr);
  EXPECT_EQ(saved(), "[\n  {\n    \"name\":\"B\",\n    \"version\":\"\"\n  }\n]");
  os_.write(kStatusFile, R"([{"name":"B","version":"1.0.0.0","config":{"installed":1}}])");
  plugin_status_load();
  EXPECT_STREQ(pluginManager_Find("B")->version, "1.0.0.0");
}

TEST_F(PluginStatusFile, OperationsThatAreMissingAreNotCalled) {
  plugin_world::OwnPlugin bare;
  bare.name = "bare";
  kelvane::pluginManager_Add(&bare);
  os_.write(kStatusFile, R"([{"name":"bare","version":"1.0.0.0","config":{"installed":1}}])");
  plugin_status_load();
  EXPECT_STREQ(bare.version, "1.0.0.0");
  EXPECT_EQ(saved(), "[\n  {\n    \"name\":\"bare\",\n    \"version\":\"1.0.0.0\"\n  }\n]");
}

TEST_F(PluginStatusFile, AThousandPluginsComeBack) {
  std::string text = "[";
  for (int i = 0; i < 1000; i++) {
    text += (i == 0 ? "" : ",") + std::string(R"({"name":"Maker.N)") + std::to_string(i) + R"(","version":"1.0.0.)" +
            std::to_string(i) + R"(","handlerstate":"enabled","config":{"installed":1,"seqno":)" + std::to_string(i) +
            R"(,"cmdtime":1,"extname":"e","message":"m"}})";
  }
  loaded(text + "]");
  EXPECT_EQ(plugin_registry_count(), 1000);
  EXPECT_EQ(shown(kelvane::plugin_registry_at(999)), "Maker.N999|1.0.0.999|enabled|1|999|1|e|m");
  const std::string first = saved();
  EXPECT_EQ(loaded(first), "Maker.N0|1.0.0.0|enabled|1|0|1|e|m");
  EXPECT_EQ(saved(), first);
}

TEST_F(PluginStatusFile, OfMoreThanAThousandPluginsTheFirstAreTaken) {
  std::string text = R"([{"name":"N0"})";
  for (int i = 1; i < 1001; i++) {
    text += R"(,{"name":"N)" + std::to_string(i) + R"("})";
  }
  recording::set_debug_level(1);
  loaded(text + "]");
  ASSERT_EQ(plugin_registry_count(), 1000);
  EXPECT_STREQ(kelvane::plugin_registry_at(999)->name, "N999");
  const std::string line = "[kelvane]: Status Load: the first 1000 of 1001 plugins are taken\n";
  EXPECT_EQ(recording::messages(), Lines{line});
  recording::set_debug_level(0);
  recording::clear_trace();
  loaded(text + "]");
  EXPECT_EQ(recording::messages(), Lines{});
}

class ManyPlugins : public PluginStatusFile {
 protected:
  // The built-in plugins, one of them enabled, and so many in all, all installed; their saved file.
  std::string saved_of(int32_t count) {
    os_.write(kStatusFile, "[]");
    start_again();
    pluginManager_Find(plugin_world::kCustomScript)->state = "enabled";
    for (int32_t i = plugin_registry_count(); i < count; i++) {
      Plugin *plugin = pluginManager_Find(("Maker.N" + std::to_string(i)).c_str());
      plugin->state = "installed";
      plugin->data->installed = 1;
      plugin->data->sequence_number = i;
    }
    recording::set_debug_level(1);
    recording::clear_trace();
    return saved();
  }
  // Loads the file into a registry as after a start.
  static void start_again() {
    plugin_world::fresh_registry();
    kelvane::pluginManager_Init();
  }
};

TEST_F(ManyPlugins, AThousandAreSavedAndLoadedWithoutALine) {
  saved_of(1000);
  start_again();
  ASSERT_EQ(plugin_registry_count(), 1000);
  EXPECT_EQ(shown(kelvane::plugin_registry_at(999)), "Maker.N999||installed|1|999|0||");
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(ManyPlugins, OfMoreTheFirstThousandAreSavedAndALineSaysSo) {
  const std::string thousand = saved_of(1000);
  for (const int32_t count : {1001, 2010}) {
    EXPECT_EQ(saved_of(count), thousand);
    const std::string line =
        "[kelvane]: Status Save: the first 1000 of " + std::to_string(count) + " plugins are kept\n";
    EXPECT_EQ(recording::messages(), Lines{line});
    recording::clear_trace();
    start_again();
    ASSERT_EQ(plugin_registry_count(), 1000);
    EXPECT_STREQ(kelvane::plugin_registry_at(0)->state, "enabled") << "the built-in ones are the first";
    EXPECT_EQ(shown(kelvane::plugin_registry_at(999)), "Maker.N999||installed|1|999|0||");
    EXPECT_EQ(recording::messages(), Lines{}) << "all of the file was taken";
  }
}

TEST_F(ManyPlugins, OfMoreAreSavedInSilenceAtLevelZero) {
  saved_of(1001);
  recording::set_debug_level(0);
  recording::clear_trace();
  saved();
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(ManyPlugins, AFileOfMoreThanTwoMegabytesIsNotReadAndALineSaysSo) {
  const std::string two_megabytes = "[" + std::string(2 * 1024 * 1024 - 2, ' ') + "]";
  recording::set_debug_level(1);
  for (const std::string &file : {two_megabytes, two_megabytes + " "}) {
    os_.write(kStatusFile, file);
    recording::clear_trace();
    start_again();
    EXPECT_EQ(recording::messages(),
              file == two_megabytes ? Lines{}
                                    : Lines{"[kelvane]: Status Load: the file has more than 2 MB and is not read\n"});
  }
}

// A name may be as long as the documents that bring it: what is written has no more than the 2 MB that are read again.
TEST_F(ManyPlugins, WhatIsTooLongToBeReadAgainIsNotSaved) {
  constexpr size_t kMost = 2 * 1024 * 1024;
  const std::string built_in = saved_of(4);
  const auto saved_with = [this](size_t length) {
    os_.write(kStatusFile, "[]");
    start_again();
    pluginManager_Find(plugin_world::kCustomScript)->state = "enabled";
    pluginManager_Find(std::string(length, 'x').c_str());
    pluginManager_Find(std::string(1000, 'z').c_str());
    return saved();
  };
  const size_t fits = kMost - saved_with(1).size() + 1;
  EXPECT_EQ(saved_with(fits).size(), kMost);
  EXPECT_EQ(recording::messages(), Lines{});
  start_again();
  EXPECT_EQ(plugin_registry_count(), 6);
  EXPECT_LT(saved_with(fits + 1).size(), kMost);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: Status Save: the first 5 of 6 plugins are kept\n"});
  start_again();
  EXPECT_EQ(plugin_registry_count(), 5);
  recording::clear_trace();
  EXPECT_EQ(saved_with(kMost), built_in);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: Status Save: the first 4 of 6 plugins are kept\n"});
}

// The first text is that of the whole file, the next ones are those of the plugins, the last one that of the cut file.
TEST_F(ManyPlugins, WithoutMemoryToCutAFileThatIsTooLongTheLastOneStays) {
  const auto saved_without_texts = [this](int first, int last) {
    os_.write(kStatusFile, "[\"before\"]");
    recording::clear_trace();
    gsTexts = 0;
    gsFirstWithoutText = first;
    gsLastWithoutText = last;
    std::string file = saved();
    gsLastWithoutText = 0;
    return file;
  };
  saved_of(4);
  pluginManager_Find(std::string(2 * 1024 * 1024, 'x').c_str());
  pluginManager_Find("last");
  const std::string line =
      "[kelvane]: Status Save: the file has more than 2 MB and is not written, the last one stays\n";
  EXPECT_EQ(saved_without_texts(2, 7), "[\"before\"]");
  EXPECT_EQ(recording::messages(), Lines{line});
  recording::set_debug_level(0);
  EXPECT_EQ(saved_without_texts(2, 7), "[\"before\"]");
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(1);
  EXPECT_EQ(saved_without_texts(7, 7), "[\"before\"]") << "four small ones, the long one, and no text for the cut file";
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: Status Save: no memory for the file, the last one stays\n"});
}

TEST_F(PluginStatusFile, AThousandPluginsAreCountedWithThoseThatWereThere) {
  plugin_world::fresh_registry();
  kelvane::pluginManager_Find("there");
  std::string text = "[";
  for (int i = 0; i < 1000; i++) {
    text += R"({"name":"N)" + std::to_string(i) + R"("},)";
  }
  os_.write(kStatusFile, text + R"({"name":"last"}])");
  plugin_status_load();
  ASSERT_EQ(plugin_registry_count(), 1000);
  EXPECT_STREQ(kelvane::plugin_registry_at(999)->name, "N998");
}

TEST_F(PluginStatusFile, OfElementsWithKnownNamesNoMoreThanAThousandAreRead) {
  std::string text = R"([{"name":"there","version":"1"})";
  for (int i = 0; i < 999; i++) {
    text += R"(,{"name":"there"})";
  }
  loaded(text + R"(,{"name":"there","version":"2"}])");
  EXPECT_STREQ(kelvane::plugin_registry_at(0)->version, "1");
}

TEST_F(PluginStatusFile, TextsOfEveryKindComeBackAsTheyWere) {
  Plugin *plugin = pluginManager_Find("Quote\"d\\N\u00e4me/\x01");
  plugin->data->installed = 1;
  kelvane::text_copy_field(plugin->data->message, "tab\t\"quote\" back\\slash / \x1f \u20ac\n");
  const std::string name = plugin->name;
  const std::string message = plugin->data->message;
  EXPECT_EQ(loaded(saved()), name + "||absent|1|-1|0||" + message);
}

}  // namespace
