// The built program itself. Only the version query can be asked of it here: everything else changes the machine.
#include <gtest/gtest.h>

#include "tests/support/files.h"

namespace {

const char kVersionLines[] =
    "TorvikGuest-2.2.26 running on Pellix\n"
    "Python: 2.7.16\n"
    "Goal state agent: 2.2.26\n";

TEST(Program, AnswersTheVersionQuery) {
  const support::CommandResult result = support::run_command({KELVANE_PROGRAM, "-version"});
  EXPECT_EQ(result.out, kVersionLines);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 0);
}

TEST(Program, AnswersTheVersionQueryWithFurtherArguments) {
  const support::CommandResult result = support::run_command({KELVANE_PROGRAM, "-version", "-daemon", "x"});
  EXPECT_EQ(result.out, kVersionLines);
  EXPECT_EQ(result.status, 0);
}

}  // namespace
