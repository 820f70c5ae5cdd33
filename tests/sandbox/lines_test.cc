#include "tests/scenario/run/lines.h"

#include <gtest/gtest.h>

namespace scenario {
namespace {

TEST(Lines, PlaceholdersFitTextAndNumbers) {
  EXPECT_TRUE(fits("a <n> b", "a 12 b"));
  EXPECT_FALSE(fits("a <n> b", "a  b"));
  EXPECT_FALSE(fits("a <n> b", "a x b"));
  EXPECT_TRUE(fits("<any>comp=<any>", "GET /?comp=versions"));
  EXPECT_TRUE(fits("x<any>", "x"));
  EXPECT_FALSE(fits("x", "xy"));
  EXPECT_FALSE(fits("xy", "x"));
}

TEST(Lines, AWrittenListIsExpandedForALevel) {
  const Lines written = {"# head", "", "3 * sleep 1", "{>5} log a", "{>6} log b", "2 * {>6} odd"};
  EXPECT_EQ(expand(written, 6), (Lines{"sleep 1", "sleep 1", "sleep 1", "log a", "{>6} odd", "{>6} odd"}));
  EXPECT_EQ(expand({"{>6} 2 * x"}, 7), (Lines{"x", "x"}));
  EXPECT_EQ(expand({"{>6} 2 * x"}, 6), Lines{});
}

TEST(Lines, BothListsMustEndTogether) {
  EXPECT_TRUE(all_fit({"a", "<any>"}, {"a", "b"}));
  EXPECT_FALSE(all_fit({"a"}, {"a", "b"}));
  EXPECT_FALSE(all_fit({"a", "b"}, {"a"}));
}

TEST(Lines, OrderCountsInContains) {
  EXPECT_EQ(missing_in_order({"a", "c"}, {"a", "b", "c"}), "");
  EXPECT_EQ(missing_in_order({"c", "a"}, {"a", "b", "c"}), "a");
  EXPECT_EQ(missing_in_order({"a", "a"}, {"a", "b"}), "a");
}

TEST(Lines, ADifferenceShowsBothSidesAndCutsWhatIsEqual) {
  const Lines same = {"1", "2", "3", "4", "5"};
  Lines expected = same;
  Lines got = same;
  expected.push_back("x");
  got.push_back("y");
  EXPECT_EQ(difference(expected, got),
            "    --- expected\n    +++ got\n      ...\n      3\n      4\n      5\n    - x\n    + y\n");
}

TEST(Lines, SleepsByTheTenThousandAreOneLineOfADifference) {
  const Lines expected(50000, "sleep 1");
  Lines got = expected;
  got.push_back("sleep 1");
  got.push_back("stop");
  EXPECT_EQ(difference(expected, got),
            "    --- expected\n    +++ got\n    - 50000 * sleep 1\n    + 50001 * sleep 1\n    + stop\n");
}

}  // namespace
}  // namespace scenario
