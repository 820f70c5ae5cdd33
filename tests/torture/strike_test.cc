#include "tests/torture/strike.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

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

TEST(Strike, TheSitesSayWhereItFell) {
  const support::TempDir folder;
  const std::string file = folder.file("sites");
  std::ofstream(file) << "file 1 open(/a)\nstruck file 1 open(/a)\nfile 2 open(/b c)\nend 0\n";
  const Site site = read_struck(file);
  EXPECT_EQ(site.call_class, "file");
  EXPECT_EQ(site.number, 1U);
  EXPECT_EQ(site.call, "open(/a)");
  EXPECT_EQ(read_sites(file).size(), 2U);
}

TEST(Strike, WhatFellOnNothingSaysNothing) {
  const support::TempDir folder;
  std::ofstream(folder.file("sites")) << "file 1 open(/a)\nend 0\n";
  EXPECT_EQ(read_struck(folder.file("sites")).call, "");
}

TEST(Strike, TheSameCallMayHaveAnotherNumber) {
  const std::vector<Site> before = {{"memory", 1, "malloc(a)"}, {"memory", 2, "malloc(b)"}, {"memory", 3, "malloc(a)"}};
  const std::vector<Site> now = {{"file", 1, "malloc(a)"},   {"memory", 1, "malloc(a)"}, {"memory", 2, "malloc(c)"},
                                 {"memory", 3, "malloc(b)"}, {"memory", 4, "malloc(a)"}, {"memory", 5, "malloc(a)"}};
  EXPECT_EQ(same_call(before, before[0], now), 1U);
  EXPECT_EQ(same_call(before, before[1], now), 3U);
  EXPECT_EQ(same_call(before, before[2], now), 4U);
  EXPECT_EQ(same_call(before, before[2], {{"memory", 9, "malloc(a)"}}), 3U);
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
