#include "tests/torture/sites.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/files.h"

namespace torture {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// "file 1 open(/a)" for each.
std::vector<std::string> words_of(const std::vector<Site> &sites) {
  std::vector<std::string> out;
  for (const Site &site : sites) {
    out.push_back(site.call_class + " " + std::to_string(site.number) + " " + site.call);
  }
  return out;
}

TEST(Sites, TheSitesSayWhereItFell) {
  const support::TempDir folder;
  const std::string file = folder.file("sites");
  std::ofstream(file) << "file 1 open(/a)\nsleep 1\nbytes 1 read(/a)\nrequest 1 request(a)\nfile 2 open(/b c)\n"
                         "struck file 2 open(/b c)\n"
                         "file 3 open(/d)\nstruck file 3 open(/d)\nend 0\n";
  EXPECT_THAT(words_of(read_to_strike(file)),
              ElementsAre("file 1 open(/a)", "request 1 request(a)", "file 2 open(/b c)"));
  EXPECT_EQ(read_sites(file).size(), 5U);
}

// What is asked in front of the loop is of no pass.
TEST(Sites, TheFirstPassEndsWhereTheSecondAsks) {
  const support::TempDir folder;
  const std::string file = folder.file("sites");
  std::ofstream(file) << "request 1 request(http://a/?comp=goalstate)\nfile 1 open(/a)\nsleep 1\nsleep 1\n"
                         "request 2 request(http://a/?comp=goalstate)\nfile 2 open(/b)\nsleep 1\n"
                         "request 3 request(http://a/?comp=goalstate)\nfile 3 open(/c)\n";
  EXPECT_THAT(words_of(read_sites_of_first_pass(file)),
              ElementsAre("request 1 request(http://a/?comp=goalstate)", "file 1 open(/a)",
                          "request 2 request(http://a/?comp=goalstate)", "file 2 open(/b)"));
  std::ofstream(file) << "sleep 1\nrequest 1 request(http://a/extensionHandlers?v)\nfile 1 open(/a)\n"
                         "request 2 request(http://a/extensionHandlers?v)\nfile 2 open(/b)\n";
  EXPECT_EQ(read_sites_of_first_pass(file).size(), 2U);
}

TEST(Sites, WhatFellOnNothingSaysNothing) {
  const support::TempDir folder;
  std::ofstream(folder.file("sites")) << "file 1 open(/a)\nend 0\n";
  EXPECT_THAT(read_to_strike(folder.file("sites")), IsEmpty());
}

TEST(Sites, AnotherCallOfTheSameNameIsNotThePlannedOne) {
  const std::vector<Site> before = {{"memory", 1, "malloc(a)"}, {"memory", 2, "malloc(b)"}, {"memory", 3, "malloc(a)"}};
  EXPECT_TRUE(ends_with_call(before, before, before[2]));
  EXPECT_FALSE(ends_with_call(before, before, before[0])) << "it fell on the second one";
  const std::vector<Site> first = {{"memory", 1, "malloc(c)"}, {"memory", 2, "malloc(c)"}, {"memory", 3, "malloc(a)"}};
  EXPECT_FALSE(ends_with_call(first, before, before[2])) << "it is the first one there";
  EXPECT_TRUE(ends_with_call(first, before, before[0])) << "with another number";
  EXPECT_FALSE(ends_with_call(first, before, before[1]));
  EXPECT_FALSE(ends_with_call({}, before, before[0])) << "it fell on nothing";
}

TEST(Sites, FirstBootIsAllUpToTheLastOpeningOfTheMarker) {
  const std::vector<Site> run = {{"file", 1, "open(/data/etc/.provisioned)"},
                                 {"platform", 1, "f()"},
                                 {"file", 2, "open(/data/etc/.provisioned)"},
                                 {"bytes", 1, "write(/data/etc/.provisioned)"},
                                 {"platform", 2, "f()"}};
  for (const size_t number : {0, 1, 2}) {
    EXPECT_TRUE(in_front_of("open(/data/etc/.provisioned)", run, run[number])) << number;
  }
  EXPECT_FALSE(in_front_of("open(/data/etc/.provisioned)", run, run[3]));
  EXPECT_FALSE(in_front_of("open(/data/etc/.provisioned)", run, run[4]));
}

TEST(Sites, AnEarlierAnswerInMorePiecesMovesNoCallBehindTheNextRequest) {
  const std::vector<Site> before = {{"request", 1, "request(a)"}, {"memory", 1, "realloc(a)"},
                                    {"request", 2, "request(a)"}, {"memory", 2, "realloc(a)"},
                                    {"memory", 3, "realloc(a)"},  {"request", 3, "request(a)"}};
  const std::vector<Site> now = {{"request", 1, "request(a)"},
                                 {"memory", 1, "realloc(a)"},
                                 {"memory", 2, "realloc(a)"},
                                 {"request", 2, "request(a)"},
                                 {"memory", 3, "realloc(a)"}};
  EXPECT_FALSE(ends_with_call(now, before, before[4])) << "it is the first one behind its request";
  EXPECT_TRUE(ends_with_call(now, before, before[3]));
  EXPECT_EQ(in_words(now, now[4]), "realloc(a) for the time no. 1 behind 2 requests");
  EXPECT_EQ(in_words(before, before[4]), "realloc(a) for the time no. 2 behind 2 requests");
}

TEST(Sites, ARequestIsKnownByItsNumber) {
  const std::vector<Site> before = {{"request", 1, "request(a)"}, {"request", 2, "request(a)"}};
  EXPECT_TRUE(ends_with_call(before, before, before[1]));
  EXPECT_FALSE(ends_with_call(before, before, before[0]));
}

// What was struck is a call earlier than the planned one, and the run ends there.
TEST(Sites, WhatFellTooEarlyIsAimedFurtherOn) {
  const std::vector<Site> before = {
      {"memory", 1, "realloc(a)"}, {"memory", 2, "malloc(b)"}, {"memory", 3, "malloc(c)"}};
  const std::vector<Site> now = {{"memory", 1, "realloc(a)"}, {"memory", 2, "realloc(a)"}, {"memory", 3, "malloc(b)"}};
  EXPECT_EQ(aimed_anew(before, before[2], now, now), 4U);
}

// What comes behind a failure is another run's.
TEST(Sites, WhatFellIsAimedByTheCallsUpToIt) {
  const std::vector<Site> before = {
      {"memory", 1, "realloc(a)"}, {"memory", 2, "malloc(b)"}, {"memory", 3, "malloc(c)"}};
  const std::vector<Site> now = {{"memory", 1, "realloc(a)"}, {"memory", 2, "realloc(a)"}, {"memory", 3, "malloc(b)"},
                                 {"memory", 4, "malloc(d)"},  {"memory", 5, "malloc(d)"},  {"memory", 6, "malloc(c)"}};
  EXPECT_EQ(aimed_anew(before, before[2], {now.begin(), now.begin() + 3}, now), 4U);
}

TEST(Sites, WhatFellTooLateIsAimedNearer) {
  const std::vector<Site> before = {
      {"memory", 1, "realloc(a)"}, {"memory", 2, "realloc(a)"}, {"memory", 3, "malloc(b)"}, {"memory", 4, "malloc(c)"}};
  const std::vector<Site> now = {{"memory", 1, "realloc(a)"}, {"memory", 2, "malloc(b)"}, {"memory", 3, "malloc(c)"}};
  EXPECT_EQ(aimed_anew(before, before[2], now, now), 2U);
}

// A run that lacks more calls than the planned one's number has no place before its first.
TEST(Sites, NothingIsAimedInFrontOfTheFirstCall) {
  const std::vector<Site> before = {
      {"memory", 1, "malloc(d)"}, {"memory", 2, "malloc(a)"}, {"memory", 3, "malloc(b)"}, {"memory", 4, "malloc(c)"}};
  const std::vector<Site> now = {{"memory", 1, "malloc(c)"}};
  EXPECT_EQ(aimed_anew(before, before[1], now, now), 1U);
  EXPECT_EQ(aimed_anew(before, before[2], now, now), 1U);
  EXPECT_EQ(aimed_anew(before, before[0], now, now), 1U);
}

// The run ends at a call that was not there before.
TEST(Sites, WhatFellOnOneCallMoreIsAimedFurtherOn) {
  const std::vector<Site> before = {
      {"memory", 1, "realloc(a)"}, {"memory", 2, "malloc(b)"}, {"memory", 3, "malloc(c)"}};
  const std::vector<Site> now = {{"memory", 1, "realloc(a)"}, {"memory", 2, "realloc(a)"}};
  EXPECT_EQ(aimed_anew(before, before[1], now, now), 3U);
}

TEST(Sites, WhatFellOnNoKnownCallIsAimedAtTheSameOneOfTheRun) {
  const std::vector<Site> before = {{"memory", 1, "malloc(a)"}, {"memory", 2, "malloc(b)"}, {"memory", 3, "malloc(a)"}};
  const std::vector<Site> now = {{"file", 1, "malloc(a)"},   {"memory", 1, "malloc(c)"}, {"memory", 2, "malloc(a)"},
                                 {"memory", 3, "malloc(b)"}, {"memory", 4, "malloc(a)"}, {"memory", 5, "malloc(a)"}};
  EXPECT_EQ(aimed_anew(before, before[0], {}, now), 2U);
  EXPECT_EQ(aimed_anew(before, before[1], {now[1]}, now), 3U);
  EXPECT_EQ(aimed_anew(before, before[2], {}, now), 4U);
  EXPECT_EQ(aimed_anew(before, before[2], {}, {{"memory", 9, "malloc(a)"}}), 3U) << "it is not there";
}

}  // namespace
}  // namespace torture
