#include "tests/torture/table.h"

#include <gtest/gtest.h>

#include "tests/support/files.h"

namespace torture {
namespace {

class TableTest : public testing::Test {
 protected:
  void play(size_t number, const char *report, const char *missed) {
    state_.write(plan_.at(number), report, missed, Json::object());
  }
  int status() {
    state_.read();
    return sum_up(options_, plan_, state_);
  }

  support::TempDir folder_;
  Options options_;
  std::vector<Strike> plan_ = {{"wire", {"file", 1, "open(/a)"}, "EIO", ""},
                               {"wire", {"file", 2, "open(/b)"}, "EIO", ""}};
  State state_{folder_.file("state.jsonl"), "1"};
};

TEST_F(TableTest, NothingPlayedIsNoSuccess) {
  EXPECT_EQ(status(), 2);
}

TEST_F(TableTest, WhatWasPlayedAndSurvivedIs) {
  play(0, "", "");
  EXPECT_EQ(status(), 0);
}

TEST_F(TableTest, AStrikeThatMissedIsNot) {
  play(0, "", "");
  play(1, "", "nothing");
  EXPECT_EQ(status(), 1);
}

TEST_F(TableTest, WhatTheAgentDidNotComeThroughIsNot) {
  play(0, "  it is gone\n", "");
  EXPECT_EQ(status(), 1);
}

TEST_F(TableTest, PairsTellHowOftenBothKillsFell) {
  plan_[0].second = plan_[1].second = "file:3:KILL";
  state_.write(plan_[0], "", "", Json::object(), "open(/c)");
  play(1, "", "");
  testing::internal::CaptureStdout();
  EXPECT_EQ(status(), 0);
  EXPECT_NE(testing::internal::GetCapturedStdout().find("both kills fell in 1 of 2 pairs\n"), std::string::npos);
}

// Two plays cannot have needed all that is prescribed.
TEST_F(TableTest, AWholePlayTellsWhichRowsItDidNotNeed) {
  const auto told = [&] {
    testing::internal::CaptureStdout();
    EXPECT_EQ(status(), 0);
    return testing::internal::GetCapturedStdout().find("no play came to need") != std::string::npos;
  };
  play(0, "", "");
  EXPECT_FALSE(told());
  play(1, "", "");
  EXPECT_TRUE(told());
  options_.sample = 2;
  EXPECT_FALSE(told());
}

}  // namespace
}  // namespace torture
