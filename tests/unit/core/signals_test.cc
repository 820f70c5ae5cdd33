#include "core/signals.h"

#include <signal.h>

#include <cerrno>

#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"

namespace {

void some_handler(int) {}
void other_handler(int) {}

class Signals : public RecordingTest {
 protected:
  static struct sigaction installed(int number) {
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    return action;
  }
  // What the next take gives, -1 for nothing.
  static int64_t take() {
    uint32_t command = 0;
    return kelvane::test_command_take(&command) ? int64_t{command} : -1;
  }
  static void send(uint32_t command) {
    recording::debug_record().test_command = command;
    raise(SIGUSR2);
  }

  FakeOs os_;
};

TEST_F(Signals, InstallsWithRestartAndAnEmptyMask) {
  kelvane::InstallSignalHandler(SIGUSR1, some_handler);
  const struct sigaction action = installed(SIGUSR1);
  EXPECT_EQ(action.sa_handler, some_handler);
  EXPECT_EQ(action.sa_flags & SA_RESTART, SA_RESTART);
  for (int number = 1; number < NSIG; number++) {
    EXPECT_EQ(sigismember(&action.sa_mask, number), 0) << number;
  }
  EXPECT_EQ(recording::trace(), Lines{"sigaction(10, 0x10000000)"});
}

TEST_F(Signals, AlarmAndChildInterruptInsteadOfRestarting) {
  kelvane::InstallSignalHandler(SIGALRM, some_handler);
  kelvane::InstallSignalHandler(SIGCHLD, some_handler);
  kelvane::InstallSignalHandler(SIGHUP, some_handler);
  EXPECT_EQ(recording::trace(),
            (Lines{"sigaction(14, 0x20000000)", "sigaction(17, 0x20000000)", "sigaction(1, 0x10000000)"}));
  kelvane::InstallSignalHandler(SIGALRM, SIG_DFL);
  kelvane::InstallSignalHandler(SIGCHLD, SIG_DFL);
  kelvane::InstallSignalHandler(SIGHUP, SIG_DFL);
}

TEST_F(Signals, ReturnsThePreviousHandler) {
  kelvane::InstallSignalHandler(SIGUSR1, some_handler);
  EXPECT_EQ(kelvane::InstallSignalHandler(SIGUSR1, other_handler), some_handler);
  EXPECT_EQ(kelvane::InstallSignalHandler(SIGUSR1, SIG_DFL), other_handler);
}

TEST_F(Signals, ReturnsTheErrorValueWhenSigactionFails) {
  os_.fail("sigaction(10, 0x10000000)", EINVAL);
  EXPECT_EQ(kelvane::InstallSignalHandler(SIGUSR1, some_handler), SIG_ERR);
}

TEST_F(Signals, OnlyTheTestSignalIsInstalled) {
  kelvane::test_signal_install();
  EXPECT_EQ(recording::trace(), Lines{"sigaction(12, 0x10000000)"});
}

TEST_F(Signals, TheHandlerTakesTheCommandAndClearsTheCell) {
  kelvane::test_signal_install();
  EXPECT_EQ(take(), -1);
  recording::clear_trace();
  recording::set_debug_level(7);
  recording::debug_record().flags = 0x41;
  send(4000000000u);
  EXPECT_EQ(recording::debug_record().test_command, 0u);
  EXPECT_EQ(recording::debug_record().flags, 0x41);
  EXPECT_EQ(recording::trace(), Lines{});
  EXPECT_EQ(take(), 4000000000);
  EXPECT_EQ(take(), -1);
}

TEST_F(Signals, ASecondSignalBeforeTheFirstIsTakenReplacesIt) {
  kelvane::test_signal_install();
  send(1);
  send(2);
  EXPECT_EQ(take(), 2);
  EXPECT_EQ(take(), -1);
}

TEST_F(Signals, ASignalWithoutACommandGivesCommandZero) {
  kelvane::test_signal_install();
  send(3);
  EXPECT_EQ(take(), 3);
  send(0);
  EXPECT_EQ(take(), 0);
}

TEST_F(Signals, ACommandThatArrivesAfterTheTakeIsKept) {
  kelvane::test_signal_install();
  send(1);
  EXPECT_EQ(take(), 1);
  send(2);
  EXPECT_EQ(take(), 2);
}

}  // namespace
