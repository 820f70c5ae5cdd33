#include "core/test_console.h"

#include "tests/support/recording_fixture.h"

// The dumps of the other rooms, replaced.
extern "C" {

void __wrap__ZN7kelvane18pluginManager_DumpEv() {
  recording::note("pluginManager_Dump()");
}

void __wrap__ZN7kelvane13CertStoreDumpEv() {
  recording::note("CertStoreDump()");
}

void __wrap__ZN7kelvane17TransportCertDumpEv() {
  recording::note("TransportCertDump()");
}

}  // extern "C"

namespace {

using kelvane::Protocol;

int64_t dump_config(const Protocol *self, const Protocol *table) {
  recording::note(self == table ? "dump_config(table, table)" : "dump_config(something else)");
  return 0;
}

const Lines kUsage = {
    "\nkelvane test usage\n",
    "\n",
    "   1: Dump Extensions Installed\n",
    "   2: Dump Certificate Store\n",
    "   3: Dump transport Certificate and Key\n",
    "   4: Dump Protocol Config\n",
    "  99: Restart kelvane\n",
};

class TestConsole : public RecordingTest {
 protected:
  TestConsole() {
    recording::debug_record().flags = 0x01;
    table_.dump_config = dump_config;
  }
  static uint8_t flags() { return recording::debug_record().flags; }

  Protocol table_ = {};
};

TEST_F(TestConsole, FourDumpsTheProtocolConfiguration) {
  kelvane::test_console_run(4, &table_);
  EXPECT_EQ(recording::trace(), Lines{"dump_config(table, table)"});
  EXPECT_EQ(flags(), 0x21);
}

TEST_F(TestConsole, FourIsServedWithoutATableOrASlot) {
  kelvane::test_console_run(4, nullptr);
  EXPECT_EQ(flags(), 0x21);
  recording::debug_record().flags = 0;
  table_.dump_config = nullptr;
  kelvane::test_console_run(4, &table_);
  EXPECT_EQ(flags(), 0x20);
  EXPECT_EQ(recording::trace(), Lines{});
}

TEST_F(TestConsole, AnUnknownNumberPrintsTheUsageAndIsServed) {
  for (const uint32_t number : {0u, 5u, 98u, 100u, 4294967295u}) {
    recording::clear_trace();
    recording::debug_record().flags = 0x01;
    kelvane::test_console_run(number, &table_);
    EXPECT_EQ(recording::messages(), kUsage) << number;
    EXPECT_EQ(flags(), 0x21) << number;
  }
}

TEST_F(TestConsole, TheUsagePrintsAtEveryLevel) {
  recording::set_debug_level(-5);
  kelvane::test_console_run(7, &table_);
  EXPECT_EQ(recording::messages(), kUsage);
}

TEST_F(TestConsole, WithoutADebugRecordTheBitIsSkipped) {
  recording::set_debug_record_present(false);
  kelvane::test_console_run(7, &table_);
  EXPECT_EQ(recording::messages(), kUsage);
  EXPECT_EQ(flags(), 0x01);
}

TEST_F(TestConsole, OneToThreeCallTheirDumpAndAreServed) {
  const Lines expected = {"pluginManager_Dump()", "CertStoreDump()", "TransportCertDump()"};
  for (uint32_t number = 1; number <= 3; number++) {
    recording::clear_trace();
    recording::debug_record().flags = 0x01;
    kelvane::test_console_run(number, &table_);
    EXPECT_EQ(recording::trace(), Lines{expected[number - 1]});
    EXPECT_EQ(flags(), 0x21) << number;
  }
}

using TestConsoleDeathTest = TestConsole;

// The process ends before the fixture could look: exit status and log are what is left.
TEST_F(TestConsoleDeathTest, NinetyNineSetsTheBitAndEndsWithStatusZero) {
  recording::echo(true);
  static const auto show_flags = [] { fprintf(stderr, "flags %d\n", recording::debug_record().flags); };
  EXPECT_EXIT(
      {
        atexit(+[] { show_flags(); });
        kelvane::test_console_run(99, &table_);
      },
      testing::ExitedWithCode(0), "^message: restarting kelvane\\\\n\nflags 33\n$");
}

TEST_F(TestConsoleDeathTest, NinetyNineEndsWithoutADebugRecordToo) {
  recording::echo(true);
  EXPECT_EXIT(
      {
        recording::set_debug_record_present(false);
        kelvane::test_console_run(99, &table_);
      },
      testing::ExitedWithCode(0), "^message: restarting kelvane\\\\n\n$");
}

}  // namespace
