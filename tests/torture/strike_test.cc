#include "tests/torture/strike.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

TEST(Strike, ItAsksOnWhateverBecomesOfTheDisc) {
  const auto leaves = [](const char *call_class, const char *blow) {
    return Strike{"wire", {call_class, 1, "write(/a)"}, blow, ""}.leaves_questions();
  };
  EXPECT_TRUE(leaves("bytes", "EIO"));
  EXPECT_TRUE(leaves("bytes", "FULL"));
  EXPECT_TRUE(leaves("bytes", "DEAD"));
  EXPECT_FALSE(leaves("bytes", "POWER1"));
  EXPECT_FALSE(leaves("memory", "ENOMEM+"));
  EXPECT_FALSE(leaves("closing", "EIO"));
}

TEST(Strike, SaysWhichCallItIs) {
  const std::vector<Strike> all =
      strikes_of("wire", {{"request", 1, "request(a)"}, {"memory", 1, "malloc(b)"}, {"memory", 2, "malloc(b)"}}, true);
  EXPECT_EQ(all.front().place, "request(a) for the time no. 1 behind 0 requests");
  EXPECT_EQ(all.back().place, "malloc(b) for the time no. 2 behind 1 requests");
}

}  // namespace
}  // namespace torture
