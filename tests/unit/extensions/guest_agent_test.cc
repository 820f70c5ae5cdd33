#include "extensions/guest_agent.h"

#include <cstdlib>
#include <deque>

#include "tests/support/recording_fixture.h"
#include "tests/support/recording_state.h"

namespace {

using kelvane::Protocol;

class GuestAgent : public RecordingTest {
 protected:
  GuestAgent() {
    current_ = this;
    table_.get_ext_handlers = [](const Protocol *self, const char *previous, char **tag,
                                 kelvane::ExtHandlerList *list) -> int64_t {
      EXPECT_EQ(self, &current_->table_);
      EXPECT_EQ(*tag, nullptr);
      EXPECT_EQ(list->handlers, nullptr);
      EXPECT_EQ(list->count, 0);
      recording::note("get_ext_handlers(" + recording::quoted(previous) + ")");
      const char *marker = current_->markers_.front();
      current_->markers_.pop_front();
      *tag = marker != nullptr ? strdup(marker) : nullptr;
      return current_->result_;
    };
    table_.report_vm_status = [](const Protocol *, const kelvane::VMStatus *status) -> int64_t {
      recording::note("report_vm_status(" + recording::quoted(status->agent_version) + ", " +
                      recording::quoted(status->status) + ", " + recording::quoted(status->message) + ", " +
                      std::to_string(status->handler_count) + ")");
      return -1;
    };
  }
  ~GuestAgent() override { kelvane::GuestAgent_HandlerExtensionCleanup(); }

  void pass() { kelvane::GuestAgent_HandlerExtension(&table_); }

  static inline GuestAgent *current_ = nullptr;
  Protocol table_ = {};
  std::deque<const char *> markers_ = {"1"};
  int64_t result_ = 0;
};

const char kReport[] = "report_vm_status(\"2.2.26\", \"Ready\", \"Guest Agent is running\", 0)";

TEST_F(GuestAgent, APassFetchesAndReportsWithoutHandlers) {
  recording::set_debug_level(7);
  pass();
  EXPECT_EQ(recording::trace(), (Lines{"message: [kelvane]: GuestAgent_HandlerExtension: Running extension handler\\n",
                                       "get_ext_handlers(null)", kReport}));
}

TEST_F(GuestAgent, ItsLinePrintsAboveSixOnly) {
  recording::set_debug_level(6);
  pass();
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(GuestAgent, EachPassHandsOverTheMarkerOfThePreviousOne) {
  markers_ = {"1", "2", nullptr, "3", "4"};
  for (int i = 0; i < 5; i++) {
    pass();
  }
  EXPECT_EQ(recording::calls_of("get_ext_handlers"),
            (Lines{"get_ext_handlers(null)", "get_ext_handlers(\"1\")", "get_ext_handlers(\"2\")",
                   "get_ext_handlers(null)", "get_ext_handlers(\"3\")"}));
}

TEST_F(GuestAgent, AFailedFetchIsReportedAllTheSame) {
  result_ = -1;
  pass();
  EXPECT_EQ(recording::trace(), (Lines{"get_ext_handlers(null)", kReport}));
}

TEST_F(GuestAgent, CleanupForgetsTheMarker) {
  markers_ = {"1", "2"};
  pass();
  kelvane::GuestAgent_HandlerExtensionCleanup();
  pass();
  EXPECT_EQ(recording::calls_of("get_ext_handlers"), (Lines{"get_ext_handlers(null)", "get_ext_handlers(null)"}));
}

TEST_F(GuestAgent, TheMonitorDoesNothing) {
  recording::set_debug_level(7);
  kelvane::GuestAgent_HandlerMonitor(&table_);
  kelvane::GuestAgent_HandlerMonitor(nullptr);
  EXPECT_EQ(recording::trace(), Lines{});
}

}  // namespace
