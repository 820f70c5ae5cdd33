#include "tests/torture/strike.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <stdexcept>

#include "tests/support/files.h"

namespace torture {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> blows(const Site &site, bool kill = false) {
  std::vector<std::string> out;
  for (const Strike &strike : strikes_of("wire", {site}, kill)) {
    out.push_back(strike.blow);
  }
  return out;
}

TEST(Strike, WhatHasNoResultIsNotMadeToFail) {
  EXPECT_THAT(blows({"platform", 1, "cmf_query_free(440)"}), IsEmpty());
  EXPECT_THAT(blows({"platform", 1, "conf_end()"}), IsEmpty());
  EXPECT_THAT(blows({"platform", 1, "copy_cmdb_default(340)"}), IsEmpty());
  EXPECT_THAT(blows({"platform", 1, "ncfg_active_dayst()"}), IsEmpty());
  EXPECT_THAT(blows({"system", 1, "tzset()"}), IsEmpty());
  EXPECT_THAT(blows({"bytes", 1, "sync()"}), ElementsAre("DEAD"));
}

TEST(Strike, AnEffectThatIsMissingIsAFailure) {
  EXPECT_THAT(blows({"platform", 1, "log_system_event(1, 2)"}), ElementsAre("EIO"));
  EXPECT_THAT(blows({"platform", 1, "passwd_policy_save_info(\"operator\")"}), ElementsAre("EIO"));
}

TEST(Strike, WhatHasNoResultIsKilledAllTheSame) {
  EXPECT_THAT(blows({"platform", 1, "cmf_query_free(440)"}, true), ElementsAre("KILL"));
}

TEST(Strike, WhatThePlatformDoesWithinFailsAsTheAgentsOwnDoes) {
  EXPECT_EQ(blows({"inside", 1, "open(/a)"}), blows({"file", 1, "open(/a)"}));
  EXPECT_EQ(blows({"inside", 1, "rename(/a)"}), blows({"file", 1, "rename(/a)"}));
  EXPECT_EQ(blows({"inside", 1, "read(/a)"}), blows({"bytes", 1, "read(/a)"}));
  EXPECT_EQ(blows({"inside", 1, "write(/a)"}), blows({"bytes", 1, "write(/a)"}));
  EXPECT_THAT(blows({"inside", 1, "open(/a)"}), ElementsAre("EIO", "ENOSPC", "EACCES", "EINTR", "EMFILE", "DEAD"));
  EXPECT_THAT(blows({"inside", 1, "read(/a)"}), ElementsAre("EIO", "EINTR", "SHORT", "DEAD"));
  EXPECT_THAT(blows({"inside", 1, "fsync(/a)"}), ElementsAre("EIO", "ENOSPC", "DEAD"));
}

TEST(Strike, ANumberThatCannotBeHeldFailsAsTheKernelLetsItFail) {
  EXPECT_THAT(blows({"system", 1, "dup2(/dev/urandom)"}), ElementsAre("EINTR", "EMFILE"));
}

// Pairs of them are drawn and named.
std::vector<Strike> kills_of(const std::string &protocol, size_t count) {
  std::vector<Site> sites;
  for (size_t number = 1; number <= count; ++number) {
    sites.push_back({"memory", number, "malloc(a)"});
  }
  return strikes_of(protocol, sites, true);
}

std::vector<std::string> addresses_of(const std::vector<Strike> &strikes) {
  std::vector<std::string> out;
  for (const Strike &strike : strikes) {
    out.push_back(strike.address());
  }
  return out;
}

TEST(Strike, AKillMoreChangesHardlyAnyPair) {
  const std::vector<std::string> before = addresses_of(twice(kills_of("wire", 400), 10));
  const std::vector<std::string> now = addresses_of(twice(kills_of("wire", 401), 10));
  EXPECT_GT(before.size(), 25U);
  EXPECT_LT(before.size(), 60U);
  EXPECT_EQ(before, addresses_of(twice(kills_of("wire", 400), 10)));
  size_t same = 0;
  for (const std::string &address : before) {
    same += static_cast<size_t>(std::count(now.begin(), now.end(), address));
  }
  EXPECT_GE(same + 2, before.size());
}

TEST(Strike, PairsHaveManySeconds) {
  std::set<std::string> seconds;
  for (const Strike &pair : twice(kills_of("wire", 400), 10)) {
    seconds.insert(pair.second);
  }
  EXPECT_GT(seconds.size(), 20U);
}

TEST(Strike, WhatIsAskedForByItsAddressIsOfAnyKind) {
  std::vector<Strike> all = kills_of("wire", 3);
  all.push_back({"wire", {"file", 12, "open(/a)"}, "EIO", ""});
  const std::string list = "wire/memory/3/KILL,wire/file/12/EIO,wire/memory/1/KILL@memory:2:KILL";
  const std::vector<Strike> named = with_addresses(all, list);
  EXPECT_THAT(addresses_of(named),
              ElementsAre("wire/memory/3/KILL", "wire/file/12/EIO", "wire/memory/1/KILL@memory:2:KILL"));
  EXPECT_EQ(named[2].second_fault(), "memory::KILL:2");
  EXPECT_EQ(named[1].site.call, "open(/a)");
}

// Which address there is not; empty when there are all.
std::string unknown_of(const std::string &addresses) {
  std::vector<Strike> all = kills_of("wire", 3);
  all.push_back({"wire", {"file", 12, "open(/a)"}, "EIO", ""});
  try {
    with_addresses(all, addresses);
  } catch (const std::runtime_error &error) {
    return error.what();
  }
  return "";
}

TEST(Strike, AnAddressThatThereIsNotIsRefused) {
  EXPECT_EQ(unknown_of("wire/memory/1/KILL"), "");
  EXPECT_EQ(unknown_of("wire/memory/1/KILL,wire/file/999/EIO"), "there is no strike wire/file/999/EIO");
  EXPECT_EQ(unknown_of("metadata/memory/1/KILL"), "there is no strike metadata/memory/1/KILL");
  EXPECT_EQ(unknown_of("wire/memory/1/KILL@memory:9:KILL"), "there is no strike wire/memory/1/KILL@memory:9:KILL");
  EXPECT_EQ(unknown_of("wire/memory/1/KILL@file:12:EIO"), "there is no strike wire/memory/1/KILL@file:12:EIO")
      << "the second is no kill";
  EXPECT_EQ(unknown_of("wire/file/12/EIO@memory:1:KILL"), "there is no strike wire/file/12/EIO@memory:1:KILL")
      << "the first is no kill";
}

TEST(Strike, ALengthIsWrongBothWays) {
  const Site site = {"request", 5, "request(http://10.0.0.1/)"};
  EXPECT_EQ((Strike{"wire", site, "fabric:wrong-length:7", ""}.fabric_fault()),
            R"({"kind": "wrong-length", "name": "strike", "occurrence": 5, "lengthChange": 7})");
  EXPECT_EQ((Strike{"wire", site, "fabric:wrong-length:-7", ""}.fabric_fault()),
            R"({"kind": "wrong-length", "name": "strike", "occurrence": 5, "lengthChange": -7})");
  EXPECT_EQ((Strike{"wire", site, "fabric:status:404", ""}.fabric_fault()),
            R"({"kind": "status", "name": "strike", "occurrence": 5, "status": 404})");
  EXPECT_EQ((Strike{"wire", site, "fabric:reset:100", ""}.fabric_fault()),
            R"({"kind": "reset", "name": "strike", "occurrence": 5, "bytes": 100})");
}

// "file 1 open(/a)" for each.
std::vector<std::string> words_of(const std::vector<Site> &sites) {
  std::vector<std::string> out;
  for (const Site &site : sites) {
    out.push_back(site.call_class + " " + std::to_string(site.number) + " " + site.call);
  }
  return out;
}

TEST(Strike, TheSitesSayWhereItFell) {
  const support::TempDir folder;
  const std::string file = folder.file("sites");
  std::ofstream(file) << "file 1 open(/a)\nsleep 1\nbytes 1 read(/a)\nrequest 1 request(a)\nfile 2 open(/b c)\n"
                         "struck file 2 open(/b c)\n"
                         "file 3 open(/d)\nstruck file 3 open(/d)\nend 0\n";
  EXPECT_THAT(words_of(read_to_strike(file)),
              ElementsAre("file 1 open(/a)", "request 1 request(a)", "file 2 open(/b c)"));
  EXPECT_EQ(read_sites(file).size(), 5U);
}

TEST(Strike, WhatFellOnNothingSaysNothing) {
  const support::TempDir folder;
  std::ofstream(folder.file("sites")) << "file 1 open(/a)\nend 0\n";
  EXPECT_THAT(read_to_strike(folder.file("sites")), IsEmpty());
}

TEST(Strike, AnotherCallOfTheSameNameIsNotThePlannedOne) {
  const std::vector<Site> before = {{"memory", 1, "malloc(a)"}, {"memory", 2, "malloc(b)"}, {"memory", 3, "malloc(a)"}};
  EXPECT_TRUE(ends_with_call(before, before, before[2]));
  EXPECT_FALSE(ends_with_call(before, before, before[0])) << "it fell on the second one";
  const std::vector<Site> first = {{"memory", 1, "malloc(c)"}, {"memory", 2, "malloc(c)"}, {"memory", 3, "malloc(a)"}};
  EXPECT_FALSE(ends_with_call(first, before, before[2])) << "it is the first one there";
  EXPECT_TRUE(ends_with_call(first, before, before[0])) << "with another number";
  EXPECT_FALSE(ends_with_call(first, before, before[1]));
  EXPECT_FALSE(ends_with_call({}, before, before[0])) << "it fell on nothing";
}

TEST(Strike, AnEarlierAnswerInMorePiecesMovesNoCallBehindTheNextRequest) {
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

TEST(Strike, SaysWhichCallItIs) {
  const std::vector<Strike> all =
      strikes_of("wire", {{"request", 1, "request(a)"}, {"memory", 1, "malloc(b)"}, {"memory", 2, "malloc(b)"}}, true);
  EXPECT_EQ(all.front().place, "request(a) for the time no. 1 behind 0 requests");
  EXPECT_EQ(all.back().place, "malloc(b) for the time no. 2 behind 1 requests");
}

TEST(Strike, ARequestIsKnownByItsNumber) {
  const std::vector<Site> before = {{"request", 1, "request(a)"}, {"request", 2, "request(a)"}};
  EXPECT_TRUE(ends_with_call(before, before, before[1]));
  EXPECT_FALSE(ends_with_call(before, before, before[0]));
}

// What was struck is a call earlier than the planned one, and the run ends there.
TEST(Strike, WhatFellTooEarlyIsAimedFurtherOn) {
  const std::vector<Site> before = {
      {"memory", 1, "realloc(a)"}, {"memory", 2, "malloc(b)"}, {"memory", 3, "malloc(c)"}};
  const std::vector<Site> now = {{"memory", 1, "realloc(a)"}, {"memory", 2, "realloc(a)"}, {"memory", 3, "malloc(b)"}};
  EXPECT_EQ(aimed_anew(before, before[2], now, now), 4U);
}

// What comes behind a failure is another run's.
TEST(Strike, WhatFellIsAimedByTheCallsUpToIt) {
  const std::vector<Site> before = {
      {"memory", 1, "realloc(a)"}, {"memory", 2, "malloc(b)"}, {"memory", 3, "malloc(c)"}};
  const std::vector<Site> now = {{"memory", 1, "realloc(a)"}, {"memory", 2, "realloc(a)"}, {"memory", 3, "malloc(b)"},
                                 {"memory", 4, "malloc(d)"},  {"memory", 5, "malloc(d)"},  {"memory", 6, "malloc(c)"}};
  EXPECT_EQ(aimed_anew(before, before[2], {now.begin(), now.begin() + 3}, now), 4U);
}

TEST(Strike, WhatFellTooLateIsAimedNearer) {
  const std::vector<Site> before = {
      {"memory", 1, "realloc(a)"}, {"memory", 2, "realloc(a)"}, {"memory", 3, "malloc(b)"}, {"memory", 4, "malloc(c)"}};
  const std::vector<Site> now = {{"memory", 1, "realloc(a)"}, {"memory", 2, "malloc(b)"}, {"memory", 3, "malloc(c)"}};
  EXPECT_EQ(aimed_anew(before, before[2], now, now), 2U);
}

// A run that lacks more calls than the planned one's number has no place before its first.
TEST(Strike, NothingIsAimedInFrontOfTheFirstCall) {
  const std::vector<Site> before = {
      {"memory", 1, "malloc(d)"}, {"memory", 2, "malloc(a)"}, {"memory", 3, "malloc(b)"}, {"memory", 4, "malloc(c)"}};
  const std::vector<Site> now = {{"memory", 1, "malloc(c)"}};
  EXPECT_EQ(aimed_anew(before, before[1], now, now), 1U);
  EXPECT_EQ(aimed_anew(before, before[2], now, now), 1U);
  EXPECT_EQ(aimed_anew(before, before[0], now, now), 1U);
}

// The run ends at a call that was not there before.
TEST(Strike, WhatFellOnOneCallMoreIsAimedFurtherOn) {
  const std::vector<Site> before = {
      {"memory", 1, "realloc(a)"}, {"memory", 2, "malloc(b)"}, {"memory", 3, "malloc(c)"}};
  const std::vector<Site> now = {{"memory", 1, "realloc(a)"}, {"memory", 2, "realloc(a)"}};
  EXPECT_EQ(aimed_anew(before, before[1], now, now), 3U);
}

TEST(Strike, WhatFellOnNoKnownCallIsAimedAtTheSameOneOfTheRun) {
  const std::vector<Site> before = {{"memory", 1, "malloc(a)"}, {"memory", 2, "malloc(b)"}, {"memory", 3, "malloc(a)"}};
  const std::vector<Site> now = {{"file", 1, "malloc(a)"},   {"memory", 1, "malloc(c)"}, {"memory", 2, "malloc(a)"},
                                 {"memory", 3, "malloc(b)"}, {"memory", 4, "malloc(a)"}, {"memory", 5, "malloc(a)"}};
  EXPECT_EQ(aimed_anew(before, before[0], {}, now), 2U);
  EXPECT_EQ(aimed_anew(before, before[1], {now[1]}, now), 3U);
  EXPECT_EQ(aimed_anew(before, before[2], {}, now), 4U);
  EXPECT_EQ(aimed_anew(before, before[2], {}, {{"memory", 9, "malloc(a)"}}), 3U) << "it is not there";
}

TEST(Strike, TheLoopGoesOnBehindOneFailureWithinIt) {
  const auto leaves = [](const char *call_class, const char *blow) {
    return Strike{"wire", {call_class, 1, "write(/a)"}, blow, ""}.leaves_a_loop();
  };
  EXPECT_TRUE(leaves("bytes", "EIO"));
  EXPECT_TRUE(leaves("request", "fabric:html"));
  EXPECT_FALSE(leaves("bytes", "FULL"));
  EXPECT_FALSE(leaves("bytes", "DEAD"));
  EXPECT_FALSE(leaves("bytes", "POWER1"));
  EXPECT_FALSE(leaves("memory", "ENOMEM+"));
  EXPECT_FALSE(leaves("closing", "EIO")) << "the loop has ended";
}

}  // namespace
}  // namespace torture
