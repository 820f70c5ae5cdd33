#include "core/main_loop.h"

#include <setjmp.h>
#include <signal.h>

#include <deque>

#include "core/signals.h"
#include "extensions/guest_agent.h"
#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"

namespace {

using kelvane::Protocol;

// Which table the monitor was called with, once a call; it does nothing itself.
std::vector<const Protocol *> monitored;

}  // namespace

extern "C" void __wrap__ZN7kelvane25GuestAgent_HandlerMonitorEPKNS_8ProtocolE(const Protocol *table) {
  monitored.push_back(table);
}

namespace {

class MainLoop : public RecordingTest {
 protected:
  MainLoop() {
    current_ = this;
    table_.report_event = [](const Protocol *self, int32_t count, const kelvane::TelemetryRecord *records) -> int64_t {
      current_->note_at(self == &current_->table_ && count == 0 && records == nullptr ? "report_event(table, 0, null)"
                                                                                      : "report_event(wrong)");
      current_->os_.now += current_->upload_takes_;
      return current_->next_result();
    };
    table_.get_ext_handlers = [](const Protocol *, const char *, char **, kelvane::ExtHandlerList *) -> int64_t {
      current_->note_at("pass");
      current_->os_.now += current_->pass_takes_;
      return 0;
    };
    table_.report_vm_status = [](const Protocol *, const kelvane::VMStatus *) -> int64_t { return 0; };
    table_.dump_config = [](const Protocol *, const Protocol *) -> int64_t {
      current_->note_at("dump_config");
      if (current_->on_dump_) {
        current_->on_dump_();
      }
      return 0;
    };
    start_ = os_.now;
    os_.hide({"sleep", "time", "sigaction"});
  }
  ~MainLoop() override { kelvane::GuestAgent_HandlerExtensionCleanup(); }

  // Runs the loop for so many turns. It is left from within a sleep.
  void run_turns(int turns) {
    left_ = turns;
    os_.on_sleep = [this] {
      if (left_-- == 0) {
        longjmp(out_, 1);
      }
      if (on_turn_) {
        on_turn_();
      }
    };
    if (setjmp(out_) == 0) {
      kelvane::main_loop_run(&table_);
    }
  }
  void note_at(const std::string &what) { recording::note("+" + std::to_string(os_.now - start_) + " " + what); }
  int64_t next_result() {
    if (results_.empty()) {
      return 0;
    }
    const int64_t result = results_.front();
    results_.pop_front();
    return result;
  }
  // Only the texts that end like this.
  static Lines of(const std::string &ending) {
    Lines found;
    for (const std::string &text : recording::trace()) {
      if (text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0) {
        found.push_back(text);
      }
    }
    return found;
  }
  static Lines uploads() { return of("report_event(table, 0, null)"); }
  static Lines passes() { return of("pass"); }

  static inline MainLoop *current_ = nullptr;
  FakeOs os_;
  Protocol table_ = {};
  time_t start_ = 0;
  time_t upload_takes_ = 0;
  time_t pass_takes_ = 0;
  std::deque<int64_t> results_;
  std::function<void()> on_turn_;
  std::function<void()> on_dump_;
  jmp_buf out_;
  int left_ = 0;
};

TEST_F(MainLoop, ReadsTheClockTwiceThenSleepsASecondATurn) {
  os_.hide({});
  run_turns(2);
  EXPECT_EQ(recording::trace(), (Lines{"time()", "time()", "sleep(1)", "time()", "sleep(1)", "time()", "sleep(1)"}));
}

TEST_F(MainLoop, NothingRunsAtItsEntry) {
  run_turns(24);
  EXPECT_EQ(recording::trace(), Lines{});
}

TEST_F(MainLoop, TheFirstPassComesAfter25SecondsAndTheFirstUploadAfter60) {
  run_turns(130);
  EXPECT_EQ(recording::trace(), (Lines{"+25 pass", "+50 pass", "+60 report_event(table, 0, null)", "+75 pass",
                                       "+100 pass", "+120 report_event(table, 0, null)", "+125 pass"}));
}

TEST_F(MainLoop, CallsTheMonitorInEveryTurn) {
  monitored.clear();
  run_turns(30);
  EXPECT_EQ(monitored, std::vector<const Protocol *>(30, &table_));
}

TEST_F(MainLoop, QueuedEventsMakeTheNextUploadCome15SecondsLater) {
  results_ = {1, 7, 0, -1, 1, 0};
  run_turns(290);
  EXPECT_EQ(uploads(), (Lines{"+60 report_event(table, 0, null)", "+75 report_event(table, 0, null)",
                              "+90 report_event(table, 0, null)", "+150 report_event(table, 0, null)",
                              "+210 report_event(table, 0, null)", "+225 report_event(table, 0, null)",
                              "+285 report_event(table, 0, null)"}));
}

TEST_F(MainLoop, AResultBeyond32BitsCountsWhole) {
  results_ = {int64_t{1} << 32, 0};
  run_turns(80);
  EXPECT_EQ(uploads().size(), 2u);
}

TEST_F(MainLoop, TheUploadRunsBeforeThePassOfTheSameTurn) {
  run_turns(300);
  const auto found = std::find(recording::trace().begin(), recording::trace().end(), "+300 pass");
  ASSERT_NE(found, recording::trace().end());
  EXPECT_EQ(*(found - 1), "+300 report_event(table, 0, null)");
}

TEST_F(MainLoop, LogsTheUploadAboveSix) {
  recording::set_debug_level(7);
  run_turns(60);
  EXPECT_EQ(recording::trace(),
            (Lines{"message: [kelvane]: GuestAgent_HandlerExtension: Running extension handler\\n", "+25 pass",
                   "message: [kelvane]: GuestAgent_HandlerExtension: Running extension handler\\n", "+50 pass",
                   "message: [kelvane]: Running Event Handler\\n", "+60 report_event(table, 0, null)"}));
}

TEST_F(MainLoop, LogsNothingAtSix) {
  recording::set_debug_level(6);
  run_turns(60);
  EXPECT_EQ(recording::messages(), Lines{});
}

// A long upload or pass counts from its beginning, and what fell due meanwhile runs once.
TEST_F(MainLoop, WhatFellDueDuringALongPassRunsOnce) {
  pass_takes_ = 200;
  run_turns(27);
  EXPECT_EQ(recording::trace(), (Lines{"+25 pass", "+226 report_event(table, 0, null)", "+226 pass",
                                       "+427 report_event(table, 0, null)", "+427 pass"}));
}

TEST_F(MainLoop, ALongUploadCountsFromItsTurn) {
  upload_takes_ = 100;
  run_turns(61);
  EXPECT_EQ(uploads(), (Lines{"+60 report_event(table, 0, null)", "+161 report_event(table, 0, null)"}));
}

TEST_F(MainLoop, APassBehindALongUploadCountsFromItsTurn) {
  upload_takes_ = 100;
  run_turns(62);
  EXPECT_EQ(passes(), (Lines{"+25 pass", "+50 pass", "+261 pass", "+362 pass"}));
}

TEST_F(MainLoop, AtLeastTheIntervalHasToPass) {
  // The clock moves by 59 and 24 in the first turn, sleep included, and by one more in the second.
  on_turn_ = [this] {
    if (left_ == 1) {
      os_.now += 58;
    }
  };
  run_turns(2);
  EXPECT_EQ(recording::trace(), (Lines{"+59 pass", "+60 report_event(table, 0, null)"}));
}

TEST_F(MainLoop, AClockSetBackDelaysAndOneSetForwardHastens) {
  on_turn_ = [this] {
    if (left_ == 39) {
      os_.now -= 10;
    }
  };
  run_turns(40);
  EXPECT_EQ(passes(), Lines{"+25 pass"});
  recording::clear_trace();
  start_ = os_.now;
  on_turn_ = [this] {
    if (left_ == 0) {
      os_.now += 1000;
    }
  };
  run_turns(1);
  EXPECT_EQ(recording::trace(), (Lines{"+1001 report_event(table, 0, null)", "+1001 pass"}));
}

TEST_F(MainLoop, ServesATestCommandOnceInTheNextTurn) {
  kelvane::test_signal_install();
  on_turn_ = [this] {
    if (left_ == 5) {
      recording::debug_record().test_command = 4;
      raise(SIGUSR2);
    }
  };
  run_turns(10);
  EXPECT_EQ(recording::trace(), Lines{"+5 dump_config"});
  EXPECT_EQ(recording::debug_record().flags, 0x20);
}

TEST_F(MainLoop, ATestCommandDuringALongOneIsKeptForTheNextTurn) {
  kelvane::test_signal_install();
  int sent = 0;
  on_dump_ = [&] {
    if (sent++ == 0) {
      recording::debug_record().test_command = 77;
      raise(SIGUSR2);
    }
  };
  on_turn_ = [this] {
    if (left_ == 9) {
      recording::debug_record().test_command = 4;
      raise(SIGUSR2);
    }
  };
  run_turns(10);
  EXPECT_EQ(recording::trace().size(), 8u);
  EXPECT_EQ(recording::trace()[0], "+1 dump_config");
  EXPECT_EQ(recording::trace()[1], "message: \\nkelvane test usage\\n");
}

TEST_F(MainLoop, AnUnknownTestCommandPrintsTheUsageAndTheLoopGoesOn) {
  kelvane::test_signal_install();
  on_turn_ = [this] {
    if (left_ == 29) {
      recording::debug_record().test_command = 55;
      raise(SIGUSR2);
    }
  };
  run_turns(30);
  EXPECT_EQ(recording::messages().size(), 7u);
  EXPECT_EQ(passes(), Lines{"+25 pass"});
}

TEST_F(MainLoop, TheTestCommandIsServedBeforeTheUploadOfTheSameTurn) {
  kelvane::test_signal_install();
  on_turn_ = [this] {
    if (left_ == 0) {
      recording::debug_record().test_command = 4;
      raise(SIGUSR2);
    }
  };
  run_turns(60);
  EXPECT_EQ(recording::trace(), (Lines{"+25 pass", "+50 pass", "+60 dump_config", "+60 report_event(table, 0, null)"}));
}

}  // namespace
