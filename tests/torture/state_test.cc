#include "tests/torture/state.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/files.h"

namespace torture {
namespace {

const Strike kStrike = {"wire", {"file", 12, "open(/a)"}, "EIO", "", "open(/a) for the time no. 2"};

class StateTest : public testing::Test {
 protected:
  std::string file() const { return folder_.file("state.jsonl"); }

  support::TempDir folder_;
};

TEST_F(StateTest, KeepsWhatWasSurvived) {
  State(file(), "1").write(kStrike, "", "", {{"/files/hostname", "A -> B"}});
  const State state(file(), "1");
  EXPECT_TRUE(state.played(kStrike));
  EXPECT_TRUE(state.survived(kStrike));
  EXPECT_FALSE(state.missed(kStrike));
  EXPECT_EQ(state.meant(kStrike)["/files/hostname"], "A -> B");
}

TEST_F(StateTest, KnowsWhetherBothKillsOfAPairFell) {
  Strike single = kStrike;
  single.site.number = 13;
  State(file(), "1").write(kStrike, "", "", Json::object(), "open(/b)");
  State(file(), "1").write(single, "", "", Json::object());
  Strike missed = kStrike;
  missed.site.number = 14;
  State(file(), "1").write(missed, "", "nothing", Json::object(), "open(/b)");
  const State state(file(), "1");
  EXPECT_TRUE(state.second_fell(kStrike));
  EXPECT_FALSE(state.second_fell(single));
  EXPECT_FALSE(state.second_fell(missed));
}

TEST_F(StateTest, ALineOfAnotherBuildDoesNotCount) {
  State(file(), "1").write(kStrike, "", "", Json::object());
  EXPECT_FALSE(State(file(), "2").played(kStrike));
}

TEST_F(StateTest, ALineFromBeforeThereWereBuildsDoesNotCount) {
  std::ofstream(file()) << R"line({"address": "wire/file/12/EIO", "call": "open(/a)", "report": "", "meant": {}})line"
                        << "\n";
  EXPECT_FALSE(State(file(), "1").played(kStrike));
}

TEST_F(StateTest, ALineOfAnotherCallDoesNotCount) {
  Strike other = kStrike;
  other.place = "open(/a) for the time no. 1";
  State(file(), "1").write(other, "", "", Json::object());
  EXPECT_FALSE(State(file(), "1").played(kStrike));
}

TEST_F(StateTest, WhatFailedOrMissedIsNotSurvived) {
  const Strike other = {"wire", {"file", 13, "open(/a)"}, "EIO", ""};
  State(file(), "1").write(kStrike, "it did not", "", Json::object());
  State(file(), "1").write(other, "", "nothing", Json::object());
  const State state(file(), "1");
  EXPECT_TRUE(state.played(kStrike));
  EXPECT_FALSE(state.survived(kStrike));
  EXPECT_TRUE(state.missed(other));
  EXPECT_FALSE(state.survived(other));
}

TEST_F(StateTest, TheLastLineOfAStrikeCounts) {
  State(file(), "1").write(kStrike, "it did not", "", Json::object());
  State(file(), "1").write(kStrike, "", "", Json::object());
  EXPECT_TRUE(State(file(), "1").survived(kStrike));
}

TEST_F(StateTest, WhatComesAndGoesIsKnown) {
  State(file(), "1").write(kStrike, "  the struck run ends with 139", "", Json::object());
  EXPECT_FALSE(State(file(), "1").failed_before(kStrike)) << "it has failed, and that is told anyway";
  State(file(), "1").write(kStrike, "", "", Json::object());
  EXPECT_TRUE(State(file(), "1").failed_before(kStrike));
  EXPECT_FALSE(State(file(), "2").failed_before(kStrike)) << "another build";
}

// The number that failed was another call's.
TEST_F(StateTest, WhatFailedAtAnotherPlaceHasNotFailed) {
  Strike other = kStrike;
  other.place = "open(/a) for the time no. 1";
  State(file(), "1").write(other, "  the struck run ends with 139", "", Json::object());
  State(file(), "1").write(kStrike, "", "", Json::object());
  EXPECT_FALSE(State(file(), "1").failed_before(kStrike));
}

TEST_F(StateTest, WhatFailedAtAnyTimeBeforeIsKnown) {
  State(file(), "1").write(kStrike, "  the struck run ends with 139", "", Json::object());
  State(file(), "1").write(kStrike, "", "", Json::object());
  State(file(), "1").write(kStrike, "", "", Json::object());
  EXPECT_TRUE(State(file(), "1").failed_before(kStrike));
}

TEST_F(StateTest, TheDigestIsAnotherOneWhenAProgramOrAScenarioIs) {
  std::filesystem::create_directories(folder_.file("scenarios"));
  const auto write = [&](const char *name, const char *text) { std::ofstream(folder_.file(name)) << text; };
  const auto digest = [&] { return digest_of({folder_.file("program"), folder_.file("scenarios")}); };
  write("program", "a");
  write("scenarios/wire.json", "{}");
  const std::string first = digest();
  write("scenarios/notes.txt", "no scenario");
  EXPECT_EQ(digest(), first);
  write("scenarios/wire.json", "{ }");
  const std::string second = digest();
  EXPECT_NE(second, first);
  write("program", "b");
  EXPECT_NE(digest(), second);
  EXPECT_THROW(digest_of({folder_.file("absent")}), std::runtime_error);
}

}  // namespace
}  // namespace torture
