#include "tests/torture/trace.h"

#include <gtest/gtest.h>

namespace torture {
namespace {

TEST(Trace, AnEndOfTheAgentsOwnIsNotInTime) {
  EXPECT_TRUE(ended_in_time("[61] sleep 1\n[62] stop\n"));
  EXPECT_FALSE(ended_in_time("[61] sleep 1\n[61] exit 0\n"));
  EXPECT_FALSE(ended_in_time("[61] sleep 1\n[62] stop\n[62] exit 0\n"));
  EXPECT_FALSE(ended_in_time(""));
}

TEST(Trace, AQuestionForTheBlobsTypeIsNoReport) {
  EXPECT_TRUE(reports_status("[0] sleep 1\n[25] request PUT http://a/status/b.status?x = 0 201\n"));
  EXPECT_TRUE(reports_status("[25] request PUT http://a/Microsoft.Compute/status/vmagent = 0 200\n"));
  EXPECT_FALSE(
      reports_status("[25] request HEAD http://a/status/b.status?x = 0 200\n[26] request PUT http://a/b = 0\n"));
  EXPECT_FALSE(reports_status("[25] request PUT http://a/Microsoft.Compute/provisioningStatus = 0 200\n"));
}

TEST(Trace, AnyOtherSleepThanTheLoopsIsAWait) {
  EXPECT_FALSE(stopped_in_a_wait("[1] sleep 10\n[11] sleep 1\n[12] stop\n"));
  EXPECT_TRUE(stopped_in_a_wait("[1] sleep 1\n[2] sleep 10\n"));
  EXPECT_TRUE(stopped_in_a_wait("[1] stop\n"));
}

TEST(Trace, EventsAreNoQuestion) {
  EXPECT_EQ(seconds_since_a_question("[25] request GET http://a/machine/?comp=goalstate = 0 200\n"
                                     "[60] request POST http://a/machine?comp=telemetrydata = 0 200\n[62] stop\n"),
            37);
  EXPECT_EQ(seconds_since_a_question("[58] request GET http://a/extensionHandlers?v = 0 200\n[60] stop\n"), 2);
  EXPECT_EQ(seconds_since_a_question("[5] platform f(comp=goalstate)\n[60] stop\n"), 60);
}

TEST(Trace, TheLoopIsLeftForAsLongAsItSleepsNoSecond) {
  EXPECT_EQ(longest_wait("[1] sleep 1\n[2] sleep 10\n[12] sleep 30\n[42] sleep 1\n[43] stop\n"), 41);
  EXPECT_EQ(longest_wait("[1] sleep 1\n[2] sleep 1\n[3] stop\n"), 1);
}

TEST(Trace, OnlyAQuestionBehindTheStrikeCounts) {
  const char *const question = "request 7 request(http://a/machine/?comp=goalstate)\n";
  const std::string struck = "struck bytes 3 read(/a)\n";
  EXPECT_TRUE(asks_behind(struck + question, "struck "));
  EXPECT_FALSE(asks_behind(question + struck, "struck "));
  EXPECT_FALSE(asks_behind(question, "request 7 ")) << "it is the strike itself";
  EXPECT_FALSE(asks_behind(question, "struck "));
}

}  // namespace
}  // namespace torture
