#include "extensions/guest_agent.h"

#include <cstdlib>
#include <cstring>
#include <deque>

#include "tests/support/recording_fixture.h"
#include "tests/support/recording_state.h"
#include "tests/unit/extensions/plugin_manager_substitute.h"

namespace {

using kelvane::ExtHandler;
using kelvane::ExtStatus;
using kelvane::Protocol;

std::string report_line(int count) {
  return "report_vm_status(\"2.2.26\", \"Ready\", \"Guest Agent is running\", " + std::to_string(count) + ")";
}

class GuestAgent : public RecordingTest {
 protected:
  GuestAgent() {
    current_ = this;
    plugin_manager::reset();
    kelvane::GuestAgent_HandlerExtensionCleanup();
    table_.get_ext_handlers = [](const Protocol *self, const char *previous, char **tag,
                                 kelvane::ExtHandlerList *list) -> int64_t {
      EXPECT_EQ(self, &current_->table_);
      EXPECT_EQ(*tag, nullptr);
      EXPECT_EQ(list->handlers, nullptr);
      EXPECT_EQ(list->count, 0);
      recording::note("get_ext_handlers(" + recording::quoted(previous) + ")");
      const char *marker = current_->markers_.front();
      if (current_->markers_.size() > 1) {
        current_->markers_.pop_front();
      }
      *tag = marker != nullptr ? strdup(marker) : nullptr;
      if (!current_->records_.empty()) {
        *list = {current_->records_.data(), static_cast<int32_t>(current_->records_.size())};
      }
      return current_->result_;
    };
    table_.report_vm_status = [](const Protocol *self, const kelvane::VMStatus *status) -> int64_t {
      EXPECT_EQ(self, &current_->table_);
      recording::note("report_vm_status(" + recording::quoted(status->agent_version) + ", " +
                      recording::quoted(status->status) + ", " + recording::quoted(status->message) + ", " +
                      std::to_string(status->handler_count) + ")");
      current_->reported_ = *status;
      return -1;
    };
    table_.report_ext_status = [](const Protocol *, const char *name, char *slot, const ExtStatus *status) -> int64_t {
      recording::note("report_ext_status(" + recording::quoted(name) + ", " + recording::quoted(slot) + ", " +
                      std::to_string(status->sequence_number) + ")");
      return -1;
    };
  }
  ~GuestAgent() override {
    kelvane::GuestAgent_HandlerExtensionCleanup();
    for (const ExtHandler &record : records_) {
      free(record.name);
      free(record.state);
    }
  }

  ExtHandler &add(const char *name, const char *version, const char *state) {
    ExtHandler record = {};
    record.name = strdup(name);
    strncpy(record.version, version, sizeof record.version - 1);
    record.state = state != nullptr ? strdup(state) : nullptr;
    record.settings_name = settings_name_;
    record.sequence_number = 5;
    record.runtime_settings = runtime_;
    records_.push_back(record);
    return records_.back();
  }

  void pass() { kelvane::GuestAgent_HandlerExtension(&table_); }

  // What a pass did between fetching and reporting, for one handler "A" of version 1.2.0.0.
  Lines commands(const char *requested, const char *state, const char *installed_version = nullptr,
                 const char *installed_state = nullptr) {
    if (state != nullptr) {
      plugin_manager::state().states[{"A", "1.2.0.0"}] = state;
    }
    if (installed_version != nullptr) {
      plugin_manager::state().installed["A"] = installed_version;
    }
    if (installed_state != nullptr) {
      plugin_manager::state().states[{"A", installed_version}] = installed_state;
    }
    add("A", version_, requested);
    return pass_between();
  }

  Lines pass_between() {
    recording::clear_trace();
    pass();
    Lines trace = recording::trace();
    EXPECT_GE(trace.size(), 2u);
    trace.erase(trace.begin());
    trace.pop_back();
    return trace;
  }

  static inline GuestAgent *current_ = nullptr;
  Protocol table_ = {};
  std::deque<const char *> markers_ = {"1"};
  int64_t result_ = 0;
  std::vector<ExtHandler> records_;
  kelvane::VMStatus reported_ = {};
  const char *version_ = "1.2.0.0";
  char settings_name_[5] = "sets";
  char runtime_[8] = "runtime";
};

constexpr const char kInstall[] = "install \"A\" 1.2.0.0 \"sets\" seq 5";
constexpr const char kUninstall[] = "uninstall \"A\" 1.2.0.0 \"sets\" seq 5";
constexpr const char kDisable[] = "disable \"A\" 1.2.0.0 \"sets\" seq 5";
constexpr const char kUpdate[] = "update \"A\" 1.2.0.0 \"sets\" seq 5 {runtime, null, null, null}";
constexpr const char kEnable[] = "enable \"A\" 1.2.0.0 \"sets\" seq 5 {runtime, null, null, null}";

// ---- a pass ----

TEST_F(GuestAgent, APassFetchesAndReportsWithoutHandlers) {
  recording::set_debug_level(7);
  pass();
  EXPECT_EQ(recording::trace(), (Lines{"message: [kelvane]: GuestAgent_HandlerExtension: Running extension handler\\n",
                                       "get_ext_handlers(null)", report_line(0)}));
}

TEST_F(GuestAgent, ItsLinesPrintAboveSixOnly) {
  add("A", "1.2.0.0", "enabled");
  plugin_manager::state().states[{"A", "1.2.0.0"}] = "enabled";
  for (const int32_t level : {0, 1, 6}) {
    recording::set_debug_level(level);
    pass();
  }
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(GuestAgent, APassAtLevelSevenLineByLine) {
  add("A", "1.2.0.0", "enabled").has_runtime_settings = 1;
  plugin_manager::state().states[{"A", "1.2.0.0"}] = "enabled";
  recording::set_debug_level(7);
  pass();
  EXPECT_EQ(recording::trace(),
            (Lines{"message: [kelvane]: GuestAgent_HandlerExtension: Running extension handler\\n",
                   "get_ext_handlers(null)", "message: [kelvane]: start - ExtHandlerInstance_Make:13\\n",
                   "message: [kelvane]: start - ExtHandlerInstance_DecideVersion:67\\n",
                   "message: [kelvane]: start - ExtHandlerInstance_GetHandlerState:26\\n",
                   "message: [kelvane]: start - ExtHandlerInstance_GetHandlerState:26\\n", kEnable,
                   "message: [kelvane]: start - ExtHandlerInstance_Make:13\\n",
                   "message: [kelvane]: start - ExtHandlerInstance_GetHandlerStatus:50\\n",
                   "message: [kelvane]: start - ExtHandlerInstance_GetHandlerState:26\\n",
                   "message: [kelvane]: __report_ext_handler_status:136 ext_hdl_name:A, state:2\\n",
                   "message: [kelvane]: start - ExtHandlerInstance_ReportExtStatus:185\\n",
                   "message: [kelvane]: start - __ExtHandlerInstance_collect_ext_status:58\\n",
                   "report_ext_status(\"A\", \"slot\", 1)", report_line(1)}));
}

TEST_F(GuestAgent, AFailedFetchIsReportedAllTheSame) {
  result_ = -1;
  pass();
  EXPECT_EQ(recording::trace(), (Lines{"get_ext_handlers(null)", report_line(0)}));
}

TEST_F(GuestAgent, HandlersOfAFailedFetchAreServed) {
  result_ = -1;
  EXPECT_EQ(commands("enabled", "enabled"), Lines{kEnable});
}

TEST_F(GuestAgent, HandlersAreServedInTheListsOrderBeforeAnyStatusIsReported) {
  for (const char *name : {"C", "A", "B"}) {
    add(name, "1.0.0.0", "enabled").has_runtime_settings = 1;
    plugin_manager::state().states[{name, "1.0.0.0"}] = "installed";
  }
  EXPECT_EQ(pass_between(), (Lines{"enable \"C\" 1.0.0.0 \"sets\" seq 5 {runtime, null, null, null}",
                                   "enable \"A\" 1.0.0.0 \"sets\" seq 5 {runtime, null, null, null}",
                                   "enable \"B\" 1.0.0.0 \"sets\" seq 5 {runtime, null, null, null}",
                                   "report_ext_status(\"C\", \"slot\", 1)", "report_ext_status(\"A\", \"slot\", 1)",
                                   "report_ext_status(\"B\", \"slot\", 1)"}));
}

// ---- what is asked for, against what is ----

TEST_F(GuestAgent, ThePluginManagerIsAskedInThisOrder) {
  plugin_manager::state().note_questions = true;
  EXPECT_EQ(commands("enabled", nullptr, "1.1.9.9", "installed"),
            (Lines{"CheckNewerVersion(\"A\", \"1.2.0.0\")", "FindCurrentVersion(\"A\", \"\")",
                   "GetState(\"A\", \"1.1.9.9\")", "GetState(\"A\", \"1.2.0.0\")",
                   "disable \"A\" 1.1.9.9 \"sets\" seq 5", kUpdate, "uninstall \"A\" 1.1.9.9 \"sets\" seq 5", kInstall,
                   kEnable, "GetHandlerStatus(\"A\", \"1.2.0.0\")", "GetState(\"A\", \"1.2.0.0\")"}));
}

TEST_F(GuestAgent, EnabledWithNothingInstalledInstallsThenEnables) {
  EXPECT_EQ(commands("enabled", nullptr), (Lines{kInstall, kEnable}));
}

TEST_F(GuestAgent, EnabledOverAVersionWithoutStateInstallsThenEnables) {
  EXPECT_EQ(commands("enabled", nullptr, "1.1.9.9"), (Lines{kInstall, kEnable}));
}

TEST_F(GuestAgent, EnabledOverAnOlderVersionUpgradesInThisOrder) {
  EXPECT_EQ(commands("enabled", nullptr, "1.1.9.9", "enabled"),
            (Lines{"disable \"A\" 1.1.9.9 \"sets\" seq 5", kUpdate, "uninstall \"A\" 1.1.9.9 \"sets\" seq 5", kInstall,
                   kEnable}));
}

TEST_F(GuestAgent, AnOlderVersionThatIsOnlyInstalledIsUpgradedAlike) {
  EXPECT_EQ(commands("enabled", nullptr, "1.1.9.9", "installed").size(), 5u);
}

TEST_F(GuestAgent, EnabledOverANewerVersionOnlyEnables) {
  EXPECT_EQ(commands("enabled", nullptr, "1.2.0.1", "enabled"), Lines{kEnable});
}

TEST_F(GuestAgent, AVersionOfThreePartsIsNoUpgrade) {
  version_ = "1.2.3";
  EXPECT_EQ(commands("enabled", nullptr, "1.1.9.9", "enabled"),
            Lines{"enable \"A\" 1.2.3 \"sets\" seq 5 {runtime, null, null, null}"});
}

TEST_F(GuestAgent, EnabledWhileInstalledOrEnabledIsExactlyOneEnable) {
  EXPECT_EQ(commands("enabled", "installed", "1.2.0.0"), Lines{kEnable});
  plugin_manager::state().states[{"A", "1.2.0.0"}] = "enabled";
  markers_ = {"2"};
  EXPECT_EQ(pass_between(), Lines{kEnable});
}

TEST_F(GuestAgent, DisabledWithNothingInstalledDoesNothing) {
  EXPECT_EQ(commands("disabled", nullptr), Lines{});
}

TEST_F(GuestAgent, DisabledWhileInstalledDoesNothing) {
  EXPECT_EQ(commands("disabled", "installed"), Lines{});
}

TEST_F(GuestAgent, DisabledWhileEnabledDisables) {
  EXPECT_EQ(commands("disabled", "enabled"), Lines{kDisable});
}

TEST_F(GuestAgent, UninstallWithNothingInstalledDoesNothing) {
  EXPECT_EQ(commands("uninstall", nullptr), Lines{});
}

TEST_F(GuestAgent, UninstallWhileInstalledUninstalls) {
  EXPECT_EQ(commands("uninstall", "installed"), Lines{kUninstall});
}

TEST_F(GuestAgent, UninstallWhileEnabledDisablesFirst) {
  EXPECT_EQ(commands("uninstall", "enabled"), (Lines{kDisable, kUninstall}));
}

TEST_F(GuestAgent, TheRequestedStateIsReadWithoutRegardToCase) {
  EXPECT_EQ(commands("Enabled", "enabled"), Lines{kEnable});
  records_[0].state[0] = 'e';
  markers_ = {"2"};
  strcpy(records_[0].state, "eNABLED");
  EXPECT_EQ(pass_between(), Lines{kEnable});
}

TEST_F(GuestAgent, OtherRequestedStatesDoNothing) {
  for (const char *state : {"enable", "", "enabled ", "installed", "Uninstalled"}) {
    add("A", "1.2.0.0", state);
  }
  add("A", "1.2.0.0", nullptr);
  plugin_manager::state().states[{"A", "1.2.0.0"}] = "enabled";
  EXPECT_EQ(pass_between(), Lines{});
  EXPECT_EQ(reported_.handler_count, 3);
}

// ---- the change marker ----

TEST_F(GuestAgent, EachPassHandsOverTheMarkerOfThePreviousOne) {
  markers_ = {"1", "2", nullptr, "3", "4"};
  for (int i = 0; i < 5; i++) {
    pass();
  }
  EXPECT_EQ(recording::calls_of("get_ext_handlers"),
            (Lines{"get_ext_handlers(null)", "get_ext_handlers(\"1\")", "get_ext_handlers(\"2\")",
                   "get_ext_handlers(null)", "get_ext_handlers(\"3\")"}));
}

TEST_F(GuestAgent, AnUnchangedMarkerMeansNoCommandButAReport) {
  EXPECT_EQ(commands("enabled", "enabled"), Lines{kEnable});
  records_[0].has_runtime_settings = 1;
  EXPECT_EQ(pass_between(), Lines{"report_ext_status(\"A\", \"slot\", 1)"});
  EXPECT_EQ(reported_.handler_count, 1);
  EXPECT_EQ(recording::trace().back(), report_line(1));
}

TEST_F(GuestAgent, ANewerVersionIsActedOnInAnUnchangedDocument) {
  plugin_manager::state().newer = 1;
  EXPECT_EQ(commands("enabled", "enabled"), Lines{kEnable});
  EXPECT_EQ(pass_between(), Lines{kEnable});
}

TEST_F(GuestAgent, MarkersAreComparedByteForByte) {
  markers_ = {"a", "A", "A ", "A "};
  EXPECT_EQ(commands("enabled", "enabled"), Lines{kEnable});
  EXPECT_EQ(pass_between(), Lines{kEnable});
  EXPECT_EQ(pass_between(), Lines{kEnable});
  EXPECT_EQ(pass_between(), Lines{});
}

TEST_F(GuestAgent, EmptyMarkersAreEqual) {
  markers_ = {""};
  EXPECT_EQ(commands("enabled", "enabled"), Lines{kEnable});
  EXPECT_EQ(pass_between(), Lines{});
}

TEST_F(GuestAgent, AnAbsentMarkerIsNeverUnchanged) {
  markers_ = {"1", nullptr, nullptr, "1"};
  EXPECT_EQ(commands("enabled", "enabled"), Lines{kEnable});
  for (int i = 0; i < 3; i++) {
    EXPECT_EQ(pass_between(), Lines{kEnable});
  }
}

TEST_F(GuestAgent, CleanupForgetsTheMarker) {
  EXPECT_EQ(commands("enabled", "enabled"), Lines{kEnable});
  kelvane::GuestAgent_HandlerExtensionCleanup();
  EXPECT_EQ(pass_between(), Lines{kEnable});
  EXPECT_EQ(recording::calls_of("get_ext_handlers"), Lines{"get_ext_handlers(null)"});
}

// ---- the report ----

TEST_F(GuestAgent, FiveHandlersMakeThreeEntries) {
  for (const char *name : {"A", "B", "C", "D", "E"}) {
    add(name, "1.0.0.0", nullptr).has_runtime_settings = 1;
    plugin_manager::state().states[{name, "1.0.0.0"}] = "installed";
  }
  EXPECT_EQ(pass_between(), (Lines{"report_ext_status(\"A\", \"slot\", 1)", "report_ext_status(\"B\", \"slot\", 1)",
                                   "report_ext_status(\"C\", \"slot\", 1)", "report_ext_status(\"D\", \"slot\", 1)",
                                   "report_ext_status(\"E\", \"slot\", 1)"}));
  EXPECT_EQ(reported_.handler_count, 3);
  EXPECT_STREQ(reported_.handlers[0].name, "A");
  EXPECT_STREQ(reported_.handlers[1].name, "B");
  EXPECT_STREQ(reported_.handlers[2].name, "C");
  EXPECT_STREQ(reported_.handlers[3].name, "");
  // Each entry starts from zero.
  EXPECT_EQ(reported_.handlers[2].code, 1);
}

TEST_F(GuestAgent, AHandlerWithoutStatusIsLeftOut) {
  for (const char *name : {"A", "B", "C", "D"}) {
    add(name, "1.0.0.0", nullptr).has_runtime_settings = 1;
    plugin_manager::state().states[{name, "1.0.0.0"}] = "enabled";
  }
  plugin_manager::state().failing_handler = "B";
  EXPECT_EQ(pass_between(), (Lines{"report_ext_status(\"A\", \"slot\", 1)", "report_ext_status(\"C\", \"slot\", 1)",
                                   "report_ext_status(\"D\", \"slot\", 1)"}));
  EXPECT_EQ(reported_.handler_count, 3);
  EXPECT_STREQ(reported_.handlers[1].name, "C");
  EXPECT_STREQ(reported_.handlers[2].name, "D");
}

TEST_F(GuestAgent, AHandlerThatIsNotInstalledHasAnEntryButNoExtensionStatus) {
  add("A", "1.0.0.0", nullptr).has_runtime_settings = 1;
  EXPECT_EQ(pass_between(), Lines{});
  EXPECT_EQ(reported_.handler_count, 1);
  EXPECT_STREQ(reported_.handlers[0].name, "A");
  EXPECT_STREQ(reported_.handlers[0].version, "1.0.0.0");
  EXPECT_STREQ(reported_.handlers[0].extension_name, "slot");
}

TEST_F(GuestAgent, AFailedExtensionStatusIsNotReported) {
  add("A", "1.0.0.0", nullptr).has_runtime_settings = 1;
  plugin_manager::state().states[{"A", "1.0.0.0"}] = "enabled";
  plugin_manager::state().status_result = -1;
  EXPECT_EQ(pass_between(), Lines{});
  EXPECT_EQ(reported_.handler_count, 1);
}

TEST_F(GuestAgent, TheMonitorDoesNothing) {
  recording::set_debug_level(7);
  kelvane::GuestAgent_HandlerMonitor(&table_);
  kelvane::GuestAgent_HandlerMonitor(nullptr);
  EXPECT_EQ(recording::trace(), Lines{});
}

}  // namespace
