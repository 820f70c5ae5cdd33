#include "plugins/plugin_manager.h"

#include <unistd.h>

#include "plugins/builtin.h"
#include "plugins/plugin_registry.h"
#include "tests/unit/plugins/plugin_world.h"

namespace {

using kelvane::Plugin;
using kelvane::plugin_registry_at;
using kelvane::plugin_registry_count;
using kelvane::pluginManager_CheckNewerVersion;
using kelvane::pluginManager_Find;
using kelvane::pluginManager_GetState;
using kelvane::pluginManager_Init;
using kelvane::pluginManager_LaunchCommand;
using kelvane::PluginSettings;
using plugin_world::kCustomScript;
using plugin_world::kLinuxAsm;
using plugin_world::kStatusFile;
using plugin_world::kVMAccess;

class PluginManager : public PluginTest {
 protected:
  PluginManager() { pluginManager_Init(); }

  static Lines events() { return recording::calls_of("AddExtensionEvent"); }
};

// A plugin that writes down what its operations are given.
class Witness {
 public:
  Witness() {
    plugin_.name = "Witness";
    plugin_.short_name = "W";
    plugin_.command = [](Plugin *, uint32_t command, const char *version, const char *extension_name,
                         int32_t sequence_number, const PluginSettings *settings) {
      recording::note("command(" + std::to_string(command) + ", " + version + ", " +
                      (extension_name != nullptr ? extension_name : "null") + ", " + std::to_string(sequence_number) +
                      ", " + (settings != nullptr ? settings->public_settings : "null") + ")");
    };
    kelvane::pluginManager_Add(&plugin_);
  }
  ~Witness() { plugin_world::fresh_registry(); }
  Plugin *operator->() { return &plugin_; }

 private:
  Plugin plugin_;
};

TEST_F(PluginManager, RegistersTheBuiltInPluginsInThisOrder) {
  plugin_world::fresh_registry();
  EXPECT_EQ(pluginManager_Init(), 0);
  Lines names;
  for (int32_t i = 0; i < plugin_registry_count(); i++) {
    names.push_back(std::string(plugin_registry_at(i)->name) + ", " + plugin_registry_at(i)->short_name);
  }
  EXPECT_EQ(names, (Lines{"Microsoft.OSTCExtensions.CustomScriptForLinux, CustomScript",
                          "Microsoft.Azure.Extensions.LinuxAsm, LinuxAsm",
                          "Microsoft.OSTCExtensions.LinuxDiagnostic, LinuxDiagnostic",
                          "Microsoft.OSTCExtensions.VMAccessForLinux, VMAccessForLinux"}));
}

TEST_F(PluginManager, TheBuiltInPluginsAreStaticRecordsWithoutCleanup) {
  EXPECT_EQ(pluginManager_Find(kCustomScript), kelvane::pluginManager_RegisterCustomScript());
  EXPECT_EQ(pluginManager_Find(kLinuxAsm), kelvane::pluginManager_RegisterLinuxAsm());
  EXPECT_EQ(pluginManager_Find(plugin_world::kLinuxDiagnostic), kelvane::pluginManager_RegisterLinuxDiagnostic());
  EXPECT_EQ(pluginManager_Find(kVMAccess), kelvane::pluginManager_RegisterVMAccessForLinux());
  for (int32_t i = 0; i < 4; i++) {
    EXPECT_EQ(plugin_registry_at(i)->cleanup, nullptr);
  }
}

// In a process of its own, where nothing touched the records before.
int unlike_a_fresh_one(const Plugin *plugin) {
  const kelvane::PluginData *data = plugin->data;
  return plugin->state != nullptr || strcmp(plugin->version, "0.0.0.0") != 0 || data->installed != 0 ||
         data->sequence_number != -1 || data->command_time != 0 || data->extension_name[0] != '\0' ||
         data->message[0] != '\0';
}
const int kUnlikeAtFirst = [] {
  int unlike = 0;
  for (const auto make : kelvane::kBuiltinPlugins) {
    unlike += unlike_a_fresh_one(make());
  }
  return unlike;
}();

TEST_F(PluginManager, TheBuiltInPluginsStartAsNotInstalled) {
  EXPECT_EQ(kUnlikeAtFirst, 0);
}

TEST_F(PluginManager, CommandsHaveTheseTexts) {
  const char *const expected[] = {"unknown", "installcmd", "uninstallcmd", "updatecmd", "enablecmd", "disablecmd"};
  for (uint32_t command = 0; command < 6; command++) {
    EXPECT_STREQ(kelvane::pluginManager_CommandStr(command), expected[command]);
  }
  EXPECT_STREQ(kelvane::pluginManager_CommandStr(6), "unknown");
  EXPECT_STREQ(kelvane::pluginManager_CommandStr(UINT32_MAX), "unknown");
}

TEST_F(PluginManager, ACommandIsLoggedRunReportedAndSavedInThisOrder) {
  Witness witness;
  recording::set_debug_level(7);
  os_.hide({"time", "close"});
  recording::clear_trace();
  const PluginSettings settings = {"runtime", "public", "protected", "thumbprint"};
  EXPECT_EQ(pluginManager_LaunchCommand("Witness", "3.4.5.6", 4, "the instance", 9, &settings), 0);
  EXPECT_EQ(
      recording::trace(),
      (Lines{"message: [kelvane]: start LaunchCommand: Name: Witness (the instance) Version: 3.4.5.6 Command: "
             "enablecmd\\n",
             "command(4, 3.4.5.6, the instance, 9, public)",
             "AddExtensionEvent(\"the instance\", 6, 1, 0, \"3.4.5.6\", \"\")",
             "unlink(\"/data/etc/.plugin_status\") -> ENOENT", "open(\"/data/etc/.plugin_status\", create, 0600)"}));
}

TEST_F(PluginManager, ItsLinePrintsAboveSixOnly) {
  recording::set_debug_level(6);
  launch("Unknown", 1);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(PluginManager, EachCommandIsReportedWithItsOperation) {
  Witness witness;
  for (const uint32_t command : {0u, 1u, 2u, 3u, 4u, 5u, 6u, UINT32_MAX}) {
    launch("Witness", command);
  }
  EXPECT_EQ(events(), (Lines{"AddExtensionEvent(\"instance\", 3, 1, 0, \"1.2.3.4\", \"\")",
                             "AddExtensionEvent(\"instance\", 4, 1, 0, \"1.2.3.4\", \"\")",
                             "AddExtensionEvent(\"instance\", 8, 1, 0, \"1.2.3.4\", \"\")",
                             "AddExtensionEvent(\"instance\", 6, 1, 0, \"1.2.3.4\", \"\")",
                             "AddExtensionEvent(\"instance\", 5, 1, 0, \"1.2.3.4\", \"\")"}));
  EXPECT_EQ(recording::calls_of("command").size(), 8u);
}

TEST_F(PluginManager, AnUnknownCommandIsSavedThoughNotReported) {
  launch("Unknown", 0);
  EXPECT_THAT(os_.read(kStatusFile), testing::HasSubstr("\"name\":\"Unknown\""));
}

// Install, uninstall and disable may come without an instance name: the event then bears the handler's.
TEST_F(PluginManager, WithoutAnExtensionNameTheEventBearsThePluginsName) {
  recording::set_debug_level(7);
  launch("Some.Maker.Thing", 1, 0, nullptr, "1.2.3.4", nullptr);
  EXPECT_EQ(events(), Lines{"AddExtensionEvent(\"Some.Maker.Thing\", 3, 1, 0, \"1.2.3.4\", \"\")"});
  EXPECT_EQ(recording::messages()[0],
            "[kelvane]: start LaunchCommand: Name: Some.Maker.Thing () Version: 1.2.3.4 Command: installcmd\n");
}

TEST_F(PluginManager, AnEmptyExtensionNameStaysEmptyInTheEvent) {
  launch("Some.Maker.Thing", 1, 0, nullptr, "1.2.3.4", "");
  EXPECT_EQ(events(), Lines{"AddExtensionEvent(\"\", 3, 1, 0, \"1.2.3.4\", \"\")"});
}

TEST_F(PluginManager, APluginWithoutACommandOperationIsReportedAndSavedAllTheSame) {
  Witness witness;
  witness->command = nullptr;
  EXPECT_EQ(launch("Witness", 1), 0);
  EXPECT_EQ(events().size(), 1u);
  EXPECT_TRUE(os_.exists(kStatusFile));
}

TEST_F(PluginManager, WithoutMemoryForAPluginNothingHappens) {
  plugin_world::refuse_calloc = 1;
  EXPECT_EQ(launch("Unknown", 1), 0);
  EXPECT_EQ(recording::trace(), Lines{});
  EXPECT_FALSE(os_.exists(kStatusFile));
}

TEST_F(PluginManager, AnInstalledPluginRefusesCommandsForOtherVersions) {
  EXPECT_EQ(launch(kLinuxAsm, 1, 0, nullptr, "1.0.0.0"), 0);
  const std::string file = os_.read(kStatusFile);
  recording::clear_trace();
  for (const uint32_t command : {1u, 2u, 3u, 4u, 5u}) {
    EXPECT_NE(launch(kLinuxAsm, command, 5, nullptr, "2.0.0.0"), 0) << command;
  }
  EXPECT_EQ(recording::trace(), Lines{});
  EXPECT_EQ(os_.read(kStatusFile), file);
  EXPECT_STREQ(pluginManager_GetState(kLinuxAsm, "1.0.0.0"), "installed");
  EXPECT_GT(launch(kLinuxAsm, 4, 5, nullptr, "2.0.0.0"), 0);
  EXPECT_LT(launch(kLinuxAsm, 4, 5, nullptr, "0.9.0.0"), 0);
  EXPECT_NE(launch(kLinuxAsm, 4, 5, nullptr, "1.0.0"), 0);
  EXPECT_NE(launch(kLinuxAsm, 4, 5, nullptr, ""), 0);
}

TEST_F(PluginManager, AfterAnUninstallAnyVersionIsTaken) {
  for (const uint32_t command : {2u, 5u}) {
    EXPECT_EQ(launch(kLinuxAsm, 1, 0, nullptr, "1.0.0.0"), 0);
    EXPECT_NE(launch(kLinuxAsm, 1, 0, nullptr, "2.0.0.0"), 0);
    EXPECT_EQ(launch(kLinuxAsm, command, 0, nullptr, "1.0.0.0"), 0);
    EXPECT_EQ(launch(kLinuxAsm, 1, 0, nullptr, "2.0.0.0"), 0);
    EXPECT_EQ(launch(kLinuxAsm, 2, 0, nullptr, "2.0.0.0"), 0);
  }
}

TEST_F(PluginManager, AVersionThatOnlyLooksLikeNoneIsAVersion) {
  Witness witness;
  kelvane::text_copy_field(witness->version, "0.0.0.00");
  EXPECT_NE(launch("Witness", 1), 0);
  kelvane::text_copy_field(witness->version, "");
  EXPECT_EQ(launch("Witness", 1), 0);
}

TEST_F(PluginManager, EnablingTwiceWithOneNumberOnlyReportsAndSavesAgain) {
  launch(kLinuxAsm, 1);
  launch(kLinuxAsm, 4, 7);
  const std::string file = os_.read(kStatusFile);
  os_.now += 100;
  recording::clear_trace();
  os_.write(kStatusFile, "");
  EXPECT_EQ(launch(kLinuxAsm, 4, 7), 0);
  EXPECT_EQ(os_.read(kStatusFile), file);
  EXPECT_EQ(events(), Lines{"AddExtensionEvent(\"instance\", 6, 1, 0, \"1.2.3.4\", \"\")"});
}

TEST_F(PluginManager, TheLifeCycleSurvivesARestart) {
  launch(kLinuxAsm, 1);
  launch(kLinuxAsm, 4, 7);
  launch("Some.Maker.Thing", 1);
  const std::string file = os_.read(kStatusFile);
  plugin_world::fresh_registry();
  Plugin *plugin = kelvane::pluginManager_RegisterLinuxAsm();
  plugin->state = nullptr;
  kelvane::text_copy_field(plugin->version, "0.0.0.0");
  *plugin->data = kelvane::PluginData{};
  pluginManager_Init();
  EXPECT_STREQ(pluginManager_GetState(kLinuxAsm, "1.2.3.4"), "enabled");
  EXPECT_STREQ(pluginManager_GetState("Some.Maker.Thing", "1.2.3.4"), "installed");
  EXPECT_EQ(status_of(plugin), "2023-11-14T22:13:20Z|Enable|success|7|0|Enable ASM succeeded.|null|null|0|null|0");
  os_.now += 100;
  launch(kLinuxAsm, 4, 7);
  EXPECT_EQ(os_.read(kStatusFile), file);
}

TEST_F(PluginManager, TheCurrentVersionIsCopied) {
  char version[64];
  memset(version, 0x5A, sizeof version);
  EXPECT_EQ(kelvane::pluginManager_FindCurrentVersion(kLinuxAsm, version, sizeof version), 0);
  EXPECT_STREQ(version, "0.0.0.0");
  EXPECT_EQ(version[31], '\0');
  EXPECT_EQ(version[32], 0x5A);
  EXPECT_EQ(kelvane::pluginManager_FindCurrentVersion("Unknown", version, sizeof version), 0);
  EXPECT_STREQ(version, "");
}

TEST_F(PluginManager, TheCurrentVersionIsCutToTheCallersField) {
  kelvane::text_copy_field(pluginManager_Find("Unknown")->version, std::string(31, '7').c_str());
  char version[64];
  EXPECT_EQ(kelvane::pluginManager_FindCurrentVersion("Unknown", version, sizeof version), 0);
  EXPECT_EQ(version, std::string(31, '7'));
  EXPECT_EQ(kelvane::pluginManager_FindCurrentVersion("Unknown", version, 5), 0);
  EXPECT_STREQ(version, "7777");
}

TEST_F(PluginManager, WithoutMemoryThereIsNoCurrentVersion) {
  char version[64] = "before";
  plugin_world::refuse_calloc = 1;
  EXPECT_EQ(kelvane::pluginManager_FindCurrentVersion("Unknown", version, sizeof version), -1);
  EXPECT_STREQ(version, "before");
}

TEST_F(PluginManager, TheNewerVersionIsTheStrictlyGreaterOne) {
  Plugin *plugin = pluginManager_Find("Unknown");
  kelvane::text_copy_field(plugin->version, "1.2.3.3");
  EXPECT_EQ(pluginManager_CheckNewerVersion("Unknown", "1.2.3.4"), 1);
  kelvane::text_copy_field(plugin->version, "1.2.3.4");
  EXPECT_EQ(pluginManager_CheckNewerVersion("Unknown", "1.2.3.4"), 0);
  EXPECT_EQ(pluginManager_CheckNewerVersion("Unknown", "1.2.3.3"), 0);
  EXPECT_EQ(pluginManager_CheckNewerVersion("Unknown", "1.2.4.0"), 1);
  EXPECT_EQ(pluginManager_CheckNewerVersion("Unknown", "1.3.0.0"), 1);
  EXPECT_EQ(pluginManager_CheckNewerVersion("Unknown", "1.10.0.0"), 1);
  EXPECT_EQ(pluginManager_CheckNewerVersion("Unknown", "2.0.0.0"), 1);
  EXPECT_EQ(pluginManager_CheckNewerVersion("Unknown", "0.9.9.9"), 0);
}

TEST_F(PluginManager, AVersionOfThreeComponentsIsNotNewer) {
  EXPECT_EQ(pluginManager_CheckNewerVersion(kLinuxAsm, "9.9.9"), 0);
  EXPECT_EQ(pluginManager_CheckNewerVersion(kLinuxAsm, ""), 0);
  EXPECT_EQ(pluginManager_CheckNewerVersion("Unknown", "9.9.9"), 0);
}

TEST_F(PluginManager, AgainstAVersionThatDoesNotParseEveryVersionIsNewer) {
  EXPECT_EQ(pluginManager_CheckNewerVersion("Unknown", "0.0.0.0"), 1);
  kelvane::text_copy_field(pluginManager_Find("Unknown")->version, "1.2.3");
  EXPECT_EQ(pluginManager_CheckNewerVersion("Unknown", "0.0.0.1"), 1);
}

TEST_F(PluginManager, WithoutAPluginEveryVersionIsNewer) {
  plugin_world::refuse_calloc = 1;
  EXPECT_EQ(pluginManager_CheckNewerVersion("Unknown", "no version"), 1);
}

TEST_F(PluginManager, TheStateIsThatOfTheVersion) {
  EXPECT_EQ(pluginManager_GetState(kLinuxAsm, "0.0.0.0"), nullptr);
  launch(kLinuxAsm, 1);
  EXPECT_STREQ(pluginManager_GetState(kLinuxAsm, "1.2.3.4"), "installed");
  EXPECT_EQ(pluginManager_GetState(kLinuxAsm, "1.2.3.5"), nullptr);
  EXPECT_EQ(pluginManager_GetState(kLinuxAsm, ""), nullptr);
  EXPECT_EQ(pluginManager_GetState("Unknown", ""), nullptr);
}

TEST_F(PluginManager, TheStatusIsThatOfTheVersion) {
  launch(kLinuxAsm, 1);
  kelvane::ExtStatus status = {};
  EXPECT_EQ(kelvane::pluginManager_GetStatus(kLinuxAsm, "1.2.3.5", &status), -1);
  EXPECT_EQ(status.operation, nullptr);
  EXPECT_EQ(kelvane::pluginManager_GetStatus(kLinuxAsm, "1.2.3.4", &status), 0);
  EXPECT_STREQ(status.operation, "Enable");
  kelvane::ExtHandlerStatus handler_status = {};
  EXPECT_EQ(kelvane::pluginManager_GetHandlerStatus(kLinuxAsm, "", &handler_status), -1);
  EXPECT_STREQ(handler_status.name, "");
  EXPECT_EQ(kelvane::pluginManager_GetHandlerStatus(kLinuxAsm, "1.2.3.4", &handler_status), 0);
  EXPECT_STREQ(handler_status.name, kLinuxAsm);
}

TEST_F(PluginManager, WithoutTheOperationsThereIsNoStatus) {
  Witness witness;
  kelvane::ExtStatus status = {};
  kelvane::ExtHandlerStatus handler_status = {};
  EXPECT_EQ(kelvane::pluginManager_GetStatus("Witness", "0.0.0.0", &status), -1);
  EXPECT_EQ(kelvane::pluginManager_GetHandlerStatus("Witness", "0.0.0.0", &handler_status), -1);
}

TEST_F(PluginManager, TheDumpListsThePluginsThatHaveAState) {
  launch(kCustomScript, 1);
  plugin_world::empty_slot(0);
  launch(kLinuxAsm, 1);
  launch("B", 4);
  launch("C", 0);
  recording::clear_trace();
  recording::set_debug_level(-1);
  kelvane::pluginManager_Dump();
  EXPECT_EQ(recording::messages(),
            (Lines{"Microsoft.Azure.Extensions.LinuxAsm: version: '1.2.3.4', state: 'installed'\n",
                   "B                             : version: '', state: 'enabled'\n"}));
}

}  // namespace
