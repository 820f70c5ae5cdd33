#include "extensions/ext_handler_instance.h"

#include <cstring>

#include "tests/support/recording_fixture.h"
#include "tests/support/recording_state.h"
#include "tests/unit/extensions/plugin_manager_substitute.h"

namespace {

using kelvane::ExtHandler;
using kelvane::ExtHandlerInstance;
using kelvane::ExtStatus;
using kelvane::Protocol;

class ExtHandlerInstanceTest : public RecordingTest {
 protected:
  ExtHandlerInstanceTest() {
    plugin_manager::reset();
    table_.report_ext_status = [](const Protocol *, const char *name, char *slot, const ExtStatus *status) -> int64_t {
      recording::note("report_ext_status(" + recording::quoted(name) + ", " + recording::quoted(slot) + ", " +
                      std::to_string(status->sequence_number) + ")");
      return -1;
    };
    record_.name = name_;
    record_.settings_name = settings_name_;
    record_.sequence_number = 5;
    record_.runtime_settings = runtime_;
    record_.public_settings = public_;
    record_.protected_settings = protected_;
    record_.protected_settings_thumbprint = thumbprint_;
    version("1.2.0.0");
  }

  void version(const char *text) { strncpy(record_.version, text, sizeof record_.version - 1); }

  ExtHandlerInstance made() {
    ExtHandlerInstance instance;
    std::memset(static_cast<void *>(&instance), 0xa5, sizeof instance);
    EXPECT_EQ(kelvane::ExtHandlerInstance_Make(&record_, &table_, &instance), 0);
    return instance;
  }

  int32_t greater(const char *a, const char *b) {
    ExtHandlerInstance left = made();
    ExtHandlerInstance right = left;
    strcpy(left.handler.version, a);
    strcpy(right.handler.version, b);
    return kelvane::ExtHandlerInstance_VersionGT(&left, &right);
  }

  int32_t state_of(const char *text) {
    plugin_manager::state().states[{"Ext.A", "1.2.0.0"}] = text;
    ExtHandlerInstance instance = made();
    return kelvane::ExtHandlerInstance_GetHandlerState(&instance);
  }

  // The trace of a status report with that flag.
  Lines reported(uint32_t has_runtime_settings) {
    record_.has_runtime_settings = has_runtime_settings;
    ExtHandlerInstance instance = made();
    char slot[128] = "slot";
    recording::clear_trace();
    EXPECT_EQ(kelvane::ExtHandlerInstance_ReportExtStatus(&instance, slot, sizeof slot), 0);
    return recording::trace();
  }

  // The trace of one operation.
  Lines run(int32_t (*operation)(ExtHandlerInstance *)) {
    ExtHandlerInstance instance = made();
    recording::clear_trace();
    EXPECT_EQ(operation(&instance), 0);
    return recording::trace();
  }

  char name_[8] = "Ext.A";
  char settings_name_[8] = "sets";
  char runtime_[8] = "runtime";
  char public_[8] = "public";
  char protected_[8] = "secret";
  char thumbprint_[8] = "thumb";
  Protocol table_ = {};
  ExtHandler record_ = {};
};

TEST_F(ExtHandlerInstanceTest, MakeCopiesTheRecordAndClearsBothFlags) {
  const ExtHandlerInstance instance = made();
  EXPECT_EQ(instance.protocol, &table_);
  EXPECT_EQ(instance.installed, 0u);
  EXPECT_EQ(instance.newer_version, 0u);
  EXPECT_EQ(std::memcmp(&instance.handler, &record_, sizeof record_), 0);
}

TEST_F(ExtHandlerInstanceTest, TheStateIsReadWithoutRegardToCase) {
  EXPECT_EQ(state_of("installed"), 1);
  EXPECT_EQ(state_of("INSTALLED"), 1);
  EXPECT_EQ(state_of("enabled"), 2);
  EXPECT_EQ(state_of("eNabled"), 2);
}

TEST_F(ExtHandlerInstanceTest, AnyOtherStateCountsAsNotInstalled) {
  EXPECT_EQ(state_of(""), 0);
  EXPECT_EQ(state_of("disabled"), 0);
  EXPECT_EQ(state_of("enabled "), 0);
  EXPECT_EQ(state_of("install"), 0);
  plugin_manager::reset();
  ExtHandlerInstance instance = made();
  EXPECT_EQ(kelvane::ExtHandlerInstance_GetHandlerState(&instance), 0);
}

TEST_F(ExtHandlerInstanceTest, AnswersAboveZeroMakeTheVersionNewer) {
  for (const int32_t answer : {1, 7}) {
    plugin_manager::state().newer = answer;
    ExtHandlerInstance instance = made();
    EXPECT_EQ(kelvane::ExtHandlerInstance_DecideVersion(&instance), answer);
    EXPECT_EQ(instance.newer_version, 1u);
  }
  for (const int32_t answer : {0, -1}) {
    plugin_manager::state().newer = answer;
    ExtHandlerInstance instance = made();
    EXPECT_EQ(kelvane::ExtHandlerInstance_DecideVersion(&instance), answer);
    EXPECT_EQ(instance.newer_version, 0u);
  }
}

TEST_F(ExtHandlerInstanceTest, TheFirstNumberThatDiffersDecides) {
  EXPECT_EQ(greater("1.2.0.0", "1.1.9.9"), 1);
  EXPECT_EQ(greater("1.1.9.9", "1.2.0.0"), 0);
  EXPECT_EQ(greater("2.0.0.0", "1.9.9.9"), 1);
  EXPECT_EQ(greater("1.1.2.0", "1.1.1.9"), 1);
  EXPECT_EQ(greater("1.1.1.10", "1.1.1.9"), 1);
  EXPECT_EQ(greater("1.1.1.9", "1.1.1.10"), 0);
  EXPECT_EQ(greater("1.1.1.1", "1.1.1.1"), 0);
  EXPECT_EQ(greater("4294967295.0.0.0", "1.0.0.0"), 1);
}

TEST_F(ExtHandlerInstanceTest, AVersionThatIsNotOfFourNumbersIsNeverGreater) {
  EXPECT_EQ(greater("1.2.3", "1.0.0.0"), 0);
  EXPECT_EQ(greater("9.9.9.9", "1.2.3"), 0);
  EXPECT_EQ(greater("", "1.0.0.0"), 0);
  EXPECT_EQ(greater("a.b.c.d", "1.0.0.0"), 0);
  EXPECT_EQ(greater("9.9.9.9", ""), 0);
}

TEST_F(ExtHandlerInstanceTest, TheInstalledHandlerHasThePluginManagersVersion) {
  plugin_manager::state().installed["Ext.A"] = "1.1.9.9";
  plugin_manager::state().find_result = -1;  // only what was written counts
  ExtHandlerInstance instance = made();
  instance.newer_version = 1;
  ExtHandlerInstance installed;
  EXPECT_EQ(kelvane::ExtHandlerInstance_GetInstalledExtHandler(&instance, &installed), 0);
  EXPECT_STREQ(installed.handler.version, "1.1.9.9");
  EXPECT_EQ(installed.installed, 1u);
  EXPECT_EQ(installed.newer_version, 0u);
  EXPECT_EQ(installed.handler.name, record_.name);
  EXPECT_EQ(installed.protocol, &table_);
  EXPECT_STREQ(instance.handler.version, "1.2.0.0");
}

// How much of it there is, the plugin manager decides.
TEST_F(ExtHandlerInstanceTest, ThereIsRoomForAsLongAVersionAsARecordHolds) {
  const std::string longest(63, '1');
  plugin_manager::state().installed["Ext.A"] = longest;
  const ExtHandlerInstance instance = made();
  ExtHandlerInstance installed;
  kelvane::ExtHandlerInstance_GetInstalledExtHandler(&instance, &installed);
  EXPECT_EQ(installed.handler.version, longest);
}

TEST_F(ExtHandlerInstanceTest, NoInstalledHandlerHasNoVersion) {
  ExtHandlerInstance instance = made();
  instance.installed = 1;
  ExtHandlerInstance installed;
  EXPECT_EQ(kelvane::ExtHandlerInstance_GetInstalledExtHandler(&instance, &installed), 0);
  EXPECT_STREQ(installed.handler.version, "");
  EXPECT_EQ(installed.installed, 0u);
}

TEST_F(ExtHandlerInstanceTest, CommandsWithoutSettings) {
  plugin_manager::state().command_result = -1;
  const std::string rest = " \"Ext.A\" 1.2.0.0 \"sets\" seq 5";
  EXPECT_EQ(run(kelvane::ExtHandlerInstance_Install), Lines{"install" + rest});
  EXPECT_EQ(run(kelvane::ExtHandlerInstance_UpdateWithInstall), Lines{"install" + rest});
  EXPECT_EQ(run(kelvane::ExtHandlerInstance_Uninstall), Lines{"uninstall" + rest});
  EXPECT_EQ(run(kelvane::ExtHandlerInstance_Disable), Lines{"disable" + rest});
}

TEST_F(ExtHandlerInstanceTest, CommandsWithSettings) {
  plugin_manager::state().command_result = -1;
  const std::string rest = " \"Ext.A\" 1.2.0.0 \"sets\" seq 5 {runtime, public, secret, thumb}";
  EXPECT_EQ(run(kelvane::ExtHandlerInstance_Update), Lines{"update" + rest});
  EXPECT_EQ(run(kelvane::ExtHandlerInstance_Enable), Lines{"enable" + rest});
}

TEST_F(ExtHandlerInstanceTest, TheEmptyOperationsDoNothing) {
  recording::set_debug_level(7);
  ExtHandlerInstance instance = made();
  ExtHandlerInstance other = instance;
  recording::clear_trace();
  EXPECT_EQ(kelvane::ExtHandlerInstance_SetHandlerState(&instance, 2), 0);
  EXPECT_EQ(kelvane::ExtHandlerInstance_Download(&instance), 0);
  EXPECT_EQ(kelvane::ExtHandlerInstance_UpdateSettings(&instance), 0);
  EXPECT_EQ(kelvane::ExtHandlerInstance_CopyStatusFiles(&instance, &other), 0);
  EXPECT_EQ(recording::trace(), Lines{});
  EXPECT_EQ(std::memcmp(&instance, &other, sizeof other), 0);
}

TEST_F(ExtHandlerInstanceTest, TheExtensionsStatusGoesToTheProtocolWithTheTextSlot) {
  EXPECT_EQ(reported(1), Lines{"report_ext_status(\"Ext.A\", \"slot\", 1)"});
}

TEST_F(ExtHandlerInstanceTest, WithoutRuntimeSettingsNothingIsAsked) {
  plugin_manager::state().note_questions = true;
  EXPECT_EQ(reported(0), Lines{});
}

TEST_F(ExtHandlerInstanceTest, AFailedStatusIsTriedAsOftenAsTheFlagSaysAndNotReported) {
  plugin_manager::state().note_questions = true;
  plugin_manager::state().status_result = -1;
  EXPECT_EQ(reported(1), Lines{"GetStatus(\"Ext.A\", \"1.2.0.0\")"});
  EXPECT_EQ(reported(2), (Lines{"GetStatus(\"Ext.A\", \"1.2.0.0\")", "GetStatus(\"Ext.A\", \"1.2.0.0\")"}));
}

TEST_F(ExtHandlerInstanceTest, TheFirstStatusEndsTheAttempts) {
  EXPECT_EQ(reported(3), Lines{"report_ext_status(\"Ext.A\", \"slot\", 1)"});
}

TEST_F(ExtHandlerInstanceTest, SixOperationsLogTheirStartAboveLevelSix) {
  kelvane::ExtHandlerStatus status = {};
  char slot[128] = "slot";
  record_.has_runtime_settings = 1;
  const auto run_all = [&] {
    ExtHandlerInstance instance = made();
    kelvane::ExtHandlerInstance_GetHandlerState(&instance);
    kelvane::ExtHandlerInstance_GetHandlerStatus(&instance, &status);
    kelvane::ExtHandlerInstance_DecideVersion(&instance);
    kelvane::ExtHandlerInstance_ReportExtStatus(&instance, slot, sizeof slot);
    ExtHandlerInstance installed;
    kelvane::ExtHandlerInstance_GetInstalledExtHandler(&instance, &installed);
    kelvane::ExtHandlerInstance_VersionGT(&instance, &installed);
    kelvane::ExtHandlerInstance_Enable(&instance);
  };
  for (const int32_t level : {0, 1, 6}) {
    recording::set_debug_level(level);
    run_all();
  }
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(7);
  run_all();
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: start - ExtHandlerInstance_Make:13\n",
                                          "[kelvane]: start - ExtHandlerInstance_GetHandlerState:26\n",
                                          "[kelvane]: start - ExtHandlerInstance_GetHandlerStatus:50\n",
                                          "[kelvane]: start - ExtHandlerInstance_DecideVersion:67\n",
                                          "[kelvane]: start - ExtHandlerInstance_ReportExtStatus:185\n",
                                          "[kelvane]: start - __ExtHandlerInstance_collect_ext_status:58\n"}));
}

TEST_F(ExtHandlerInstanceTest, TheHandlersStatusResultIsHandedOn) {
  kelvane::ExtHandlerStatus status = {};
  ExtHandlerInstance instance = made();
  for (const int32_t result : {0, -1}) {
    plugin_manager::state().handler_status_result = result;
    EXPECT_EQ(kelvane::ExtHandlerInstance_GetHandlerStatus(&instance, &status), result);
  }
}

}  // namespace
