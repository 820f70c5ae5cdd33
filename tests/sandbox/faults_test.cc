#include "tools/sandbox/faults.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace sandbox {
namespace {

TEST(Faults, TheNthMatchingCallFails) {
  Faults faults;
  faults.add("open:/data/*:ENOSPC:2");
  EXPECT_EQ(faults.due("open", "/data/a"), 0);
  EXPECT_EQ(faults.due("open", "/etc/a"), 0);
  EXPECT_EQ(faults.due("unlink", "/data/a"), 0);
  EXPECT_EQ(faults.due("open", "/data/b"), ENOSPC);
  EXPECT_EQ(faults.due("open", "/data/b"), 0);
}

TEST(Faults, APlusMeansAllLaterOnesToo) {
  Faults faults;
  faults.add("open::EIO:2+");
  EXPECT_EQ(faults.due("open", "/a"), 0);
  EXPECT_EQ(faults.due("open", "/b"), EIO);
  EXPECT_EQ(faults.due("open", "/c"), EIO);
}

TEST(Faults, AStarMeansEveryCall) {
  Faults faults;
  faults.add("*:*:EPERM:*");
  EXPECT_EQ(faults.due("mount", "udf"), EPERM);
  EXPECT_EQ(faults.due("open", "/x"), EPERM);
}

TEST(Faults, ASubjectMayHoldColons) {
  Faults faults;
  faults.add("request:http://10.0.0.1/*:28:1");
  EXPECT_EQ(faults.due("request", "http://10.0.0.1/?comp=versions"), 28);
}

TEST(Faults, EveryMatchingRowCountsAndTheFirstDueDecides) {
  Faults faults;
  faults.add("open::EIO:1");
  faults.add("open::ENOSPC:1+");
  EXPECT_EQ(faults.due("open", "/x"), EIO);
  EXPECT_EQ(faults.due("open", "/x"), ENOSPC);
}

TEST(Faults, NonsenseIsRefused) {
  Faults faults;
  for (const char *text : {"", "open", "open:EIO:1", "open:/x:ENOTHING:1", "open:/x:EIO:0", "open:/x:EIO:x",
                           "open:/x:EIO:", ":/x:EIO:1"}) {
    EXPECT_THROW(faults.add(text), OptionError) << text;
  }
}

TEST(Faults, AClassMeansEveryCallOfIt) {
  Faults faults;
  faults.add("file::EIO:2");
  EXPECT_EQ(faults.due("open", "/a", "file"), 0);
  EXPECT_EQ(faults.due("malloc", "8", "memory"), 0);
  EXPECT_EQ(faults.due("unlink", "/b", "file"), EIO);
}

// What stands in no trace would otherwise move the numbers of the calls that do.
TEST(Faults, AStarMeansNothingThatIsNotInTheTrace) {
  Faults faults;
  faults.add("*:*:EIO:1");
  EXPECT_EQ(faults.due("malloc", "8", "memory"), 0);
  EXPECT_EQ(faults.due("read", "/a", "bytes"), 0);
  EXPECT_EQ(faults.due("write", "kelvane-config.db-wal", "database"), 0);
  EXPECT_EQ(faults.due("open", "/a", "file"), EIO);
}

TEST(Faults, ShortKillsLossesOfPowerAndDiscsThatFailAreNoErrno) {
  Faults faults;
  faults.add("bytes::SHORT:1");
  faults.add("file::KILL:1");
  faults.add("system::POWER:1");
  faults.add("platform::POWER3:1");
  faults.add("database::FULL:1");
  faults.add("inside::DEAD:1");
  EXPECT_EQ(faults.due("read", "/a", "bytes"), kShort);
  EXPECT_EQ(faults.due("open", "/a", "file"), kKill);
  EXPECT_EQ(faults.due("mount", "udf", "system"), kPower);
  EXPECT_EQ(faults.due("conf_init", "", "platform"), kPower - 3);
  EXPECT_EQ(faults.due("write", "kelvane-config.db", "database"), kFull);
  EXPECT_EQ(faults.due("write", "/a", "inside"), kDead);
}

}  // namespace
}  // namespace sandbox
