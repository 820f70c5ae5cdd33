#include "tools/sandbox/paths.h"

#include <gtest/gtest.h>

namespace sandbox {
namespace {

class PathsTest : public testing::Test {
 protected:
  PathsTest() { paths_.set_root("/box/tree"); }
  Paths paths_;
};

TEST_F(PathsTest, AbsolutePathsGoBelowTheRoot) {
  EXPECT_EQ(paths_.map("/data/etc/.provisioned"), "/box/tree/data/etc/.provisioned");
  EXPECT_EQ(paths_.map("/tmp/x"), "/box/tree/tmp/x");
  EXPECT_EQ(paths_.map("/"), "/box/tree");
}

TEST_F(PathsTest, WhatIsBelowTheRootStays) {
  EXPECT_EQ(paths_.map("/box/tree/data/x"), "/box/tree/data/x");
  EXPECT_EQ(paths_.map("/box/tree"), "/box/tree");
  EXPECT_EQ(paths_.map("/box/treeed/x"), "/box/tree/box/treeed/x");
}

TEST_F(PathsTest, TheMachinesOwnStays) {
  EXPECT_EQ(paths_.map("/dev/urandom"), "/dev/urandom");
  EXPECT_EQ(paths_.map("/proc/self/status"), "/proc/self/status");
  EXPECT_EQ(paths_.map("/usr/share/zoneinfo/UTC"), "/usr/share/zoneinfo/UTC");
  EXPECT_EQ(paths_.map("/dev/urandom2"), "/box/tree/dev/urandom2");
  EXPECT_EQ(paths_.map("/etc/zoneinfo/UTC"), "/box/tree/etc/zoneinfo/UTC");
}

TEST_F(PathsTest, DotsNeverLeadOut) {
  EXPECT_EQ(paths_.map("/../../etc/passwd"), "/box/tree/etc/passwd");
  EXPECT_EQ(paths_.map("/data/../etc/./x"), "/box/tree/etc/x");
  EXPECT_EQ(paths_.map("/box/tree/../secret"), "/box/tree/box/secret");
  EXPECT_EQ(paths_.map("//data//x/"), "/box/tree/data/x");
}

TEST_F(PathsTest, RelativePathsAreLeftAlone) {
  EXPECT_EQ(paths_.map("data/x"), "data/x");
}

TEST_F(PathsTest, TheMountPointShowsTheDiscWhileItIsMounted) {
  EXPECT_EQ(paths_.map("/cdrom/ovf-env.xml"), "/box/tree/cdrom/ovf-env.xml");
  paths_.set_mounted("/media/disc");
  EXPECT_EQ(paths_.map("/cdrom/ovf-env.xml"), "/media/disc/ovf-env.xml");
  EXPECT_EQ(paths_.map("/box/tree/cdrom/ovf-env.xml"), "/media/disc/ovf-env.xml");
  EXPECT_EQ(paths_.map("/cdrom"), "/media/disc");
  EXPECT_EQ(paths_.map("/cdrom2/x"), "/box/tree/cdrom2/x");
  paths_.set_mounted("");
  EXPECT_EQ(paths_.map("/cdrom"), "/box/tree/cdrom");
}

TEST_F(PathsTest, ShownIsWithoutTheRoot) {
  EXPECT_EQ(paths_.shown("/box/tree/data/x"), "/data/x");
  EXPECT_EQ(paths_.shown("/data/x"), "/data/x");
  EXPECT_EQ(paths_.shown("/media/disc/x"), "/media/disc/x");
  paths_.set_mounted("/media/disc");
  EXPECT_EQ(paths_.shown("/media/disc/x"), "/cdrom/x");
}

}  // namespace
}  // namespace sandbox
