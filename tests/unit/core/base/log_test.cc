#include "core/base/log.h"

#include "tests/support/recording_fixture.h"

namespace {

using Log = RecordingTest;

TEST_F(Log, PrintsOnlyStrictlyAboveTheThreshold) {
  recording::set_debug_level(6);
  LOG_ABOVE(6, "trace\n");
  LOG_ABOVE(5, "progress %d\n", 1);
  recording::set_debug_level(7);
  LOG_ABOVE(6, "trace\n");
  EXPECT_EQ(recording::messages(), (Lines{"progress 1\n", "trace\n"}));
}

TEST_F(Log, FailuresPrintAtLevelOne) {
  LOG_ABOVE(0, "failure\n");
  recording::set_debug_level(-1);
  LOG_ABOVE(0, "failure\n");
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(1);
  LOG_ABOVE(0, "failure\n");
  EXPECT_EQ(recording::messages(), Lines{"failure\n"});
}

TEST_F(Log, WithoutADebugRecordNothingGatedPrints) {
  recording::set_debug_level(9);
  recording::set_debug_record_present(false);
  LOG_ABOVE(0, "failure\n");
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(Log, ArgumentsOfSilentLinesAreNotEvaluated) {
  int evaluated = 0;
  LOG_ABOVE(6, "%d\n", ++evaluated);
  EXPECT_EQ(evaluated, 0);
}

}  // namespace
