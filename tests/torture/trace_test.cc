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
  const Waits found = longest_waits("[4] sleep 1\n[5] sleep 10\n[15] sleep 30\n[45] sleep 1\n[46] stop\n");
  EXPECT_EQ(found.first, 4);
  EXPECT_EQ(found.later, 41);
  EXPECT_EQ(longest_waits("[1] sleep 1\n[2] sleep 1\n[3] stop\n").later, 1);
  EXPECT_EQ(longest_waits("[0] sleep 10\n[60] stop\n").first, 60) << "it never came to its loop";
}

TEST(Trace, AWaitIsMeasuredByTheUsualOneOfItsTime) {
  const Waits usual = {33, 1};
  EXPECT_TRUE(within({43, 11}, usual, 10));
  EXPECT_FALSE(within({44, 11}, usual, 10));
  EXPECT_FALSE(within({33, 12}, usual, 10));
}

TEST(Trace, AnEmptyLineIsOfTheTimeBefore) {
  EXPECT_EQ(longest_waits("\n[3] sleep 1\n\n[4] stop\n").first, 3);
  EXPECT_EQ(seconds_since_a_question("[5] request GET http://a/?comp=goalstate = 0 200\n[60] stop\n\n"), 55);
}

constexpr char kStruck[] = "struck bytes 3 read(/a)\n", kTurn[] = "sleep 1\n",
               kGoalState[] = "request 7 request(http://a/machine/?comp=goalstate)\n",
               kHandlers[] = "request 9 request(http://a/extensionHandlers?v=1)\n",
               kEvents[] = "request 8 request(http://a/machine?comp=telemetrydata)\n";

std::string all(std::initializer_list<const char *> lines) {
  std::string out;
  for (const char *line : lines) {
    out += line;
  }
  return out;
}

TEST(Trace, OnlyAQuestionBehindTheStrikeCounts) {
  EXPECT_TRUE(going_on_behind(all({kStruck, kTurn, kGoalState}), "struck ").asked);
  EXPECT_TRUE(going_on_behind(all({kStruck, kTurn, kHandlers}), "struck ").asked);
  EXPECT_FALSE(going_on_behind(all({kStruck, kTurn, kEvents}), "struck ").asked);
  EXPECT_FALSE(going_on_behind(all({kStruck, kTurn, "platform 3 f(comp=goalstate)\n"}), "struck ").asked);
  EXPECT_FALSE(going_on_behind(all({kGoalState, kStruck, kTurn}), "struck ").asked);
  EXPECT_FALSE(going_on_behind(all({kTurn, kGoalState}), "request 7 ").asked) << "it is the strike itself";
  EXPECT_FALSE(going_on_behind(all({kTurn, kGoalState}), "struck ").asked);
}

TEST(Trace, AQuestionOfTheStruckPassIsNoGoingOn) {
  EXPECT_FALSE(going_on_behind(all({kTurn, kStruck, kGoalState, kTurn}), "struck ").asked);
  EXPECT_FALSE(going_on_behind(all({kTurn, kGoalState, "sleep 10\n", kGoalState, kTurn}), "request 7 ").asked)
      << "it is asked again";
}

TEST(Trace, APassThatIsSkippedShows) {
  EXPECT_EQ(going_on_behind(all({kStruck, kTurn, kGoalState, kTurn, kTurn, kTurn, kGoalState, kTurn}), "struck ")
                .turns_without,
            3);
  EXPECT_EQ(going_on_behind(all({kStruck, kTurn, kTurn, kGoalState, kTurn}), "struck ").turns_without, 2)
      << "from the strike";
  EXPECT_EQ(going_on_behind(all({kStruck, kTurn, kGoalState, kTurn, kEvents, kTurn}), "struck ").turns_without, 2)
      << "to the end";
}

TEST(Trace, TurnsBeforeTheStrikeAndWaitsAreNotCounted) {
  EXPECT_EQ(going_on_behind(all({kTurn, kTurn, kStruck, kTurn, kGoalState}), "struck ").turns_without, 1);
  EXPECT_EQ(going_on_behind(all({kStruck, kTurn, "sleep 10\n", "sleep 10\n", kGoalState}), "struck ").turns_without, 1);
}

// An agent that waits and turns for ever, and never asks.
TEST(Trace, TurnsBetweenWaitsAddUp) {
  EXPECT_EQ(
      going_on_behind(all({kStruck, "sleep 10\n", kTurn, "sleep 10\n", kTurn, "sleep 10\n"}), "struck ").turns_without,
      2);
}

TEST(Trace, AnyRequestIsOne) {
  EXPECT_TRUE(made_a_request("[0] platform conf_init() = 0\n[0] request GET http://a/?comp=versions = 28\n"));
  EXPECT_FALSE(made_a_request("[0] platform f(a request )\n[0] exit 255\n"));
}

TEST(Trace, AFirstBootIsReported) {
  EXPECT_TRUE(provisions("[0] request POST http://a/machine/?comp=health = 0 200\n"));
  EXPECT_TRUE(provisions("[33] request PUT http://a/provisioningStatus?v = 0 200\n"));
  EXPECT_FALSE(provisions("[25] request GET http://a/machine/?comp=goalstate = 0 200\n"));
}

TEST(Trace, APartOfAFirstBootIsToldWithoutAReport) {
  EXPECT_TRUE(provisions_in_part("[0] request POST http://a/machine/?comp=health = 0 200\n"));
  EXPECT_TRUE(provisions_in_part("[0] system sethostname(\"edge\", 4) = 0\n"));
  EXPECT_TRUE(provisions_in_part("[0] platform cmf_query_do_table_find(340, 0, \"admin\", 2) = record 1\n"));
  EXPECT_FALSE(provisions_in_part("[9] platform cmf_query_do_table_find(280, 0, \"prof_admin\", 2) = record 2\n"));
}

TEST(Trace, WhoComplains) {
  EXPECT_TRUE(complains("==1==ERROR: AddressSanitizer: heap-use-after-free\n"));
  EXPECT_TRUE(complains("a.cc:1:2: runtime error: signed integer overflow\n"));
  EXPECT_TRUE(complains("kelvane-sandbox: cannot write\n"));
  EXPECT_FALSE(complains("another line\n"));
  EXPECT_TRUE(finds_database_damaged("the database is damaged\n"));
  EXPECT_FALSE(finds_database_damaged("the database is fine\n"));
}

}  // namespace
}  // namespace torture
