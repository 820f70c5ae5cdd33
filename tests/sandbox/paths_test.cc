#include "tools/sandbox/paths.h"

#include <gtest/gtest.h>

namespace sandbox {
namespace {

class PathsTest : public testing::Test {
 protected:
  PathsTest() { paths_.set_root("/box/root"); }
  Paths paths_;
};

TEST_F(PathsTest, AbsolutePathsGoBelowTheRoot) {
  EXPECT_EQ(paths_.map("/data/etc/.provisioned"), "/box/root/data/etc/.provisioned");
  EXPECT_EQ(paths_.map("/tmp/x"), "/box/root/tmp/x");
  EXPECT_EQ(paths_.map("/"), "/box/root");
}

TEST_F(PathsTest, WhatIsBelowTheRootStays) {
  EXPECT_EQ(paths_.map("/box/root/data/x"), "/box/root/data/x");
  EXPECT_EQ(paths_.map("/box/root"), "/box/root");
  EXPECT_EQ(paths_.map("/box/rooted/x"), "/box/root/box/rooted/x");
}

TEST_F(PathsTest, TheMachinesOwnStays) {
  EXPECT_EQ(paths_.map("/dev/urandom"), "/dev/urandom");
  EXPECT_EQ(paths_.map("/proc/self/status"), "/proc/self/status");
  EXPECT_EQ(paths_.map("/usr/share/zoneinfo/UTC"), "/usr/share/zoneinfo/UTC");
  EXPECT_EQ(paths_.map("/dev/urandom2"), "/box/root/dev/urandom2");
  EXPECT_EQ(paths_.map("/etc/zoneinfo/UTC"), "/box/root/etc/zoneinfo/UTC");
}

TEST_F(PathsTest, DotsNeverLeadOut) {
  EXPECT_EQ(paths_.map("/../../etc/passwd"), "/box/root/etc/passwd");
  EXPECT_EQ(paths_.map("/data/../etc/./x"), "/box/root/etc/x");
  EXPECT_EQ(paths_.map("/box/root/../secret"), "/box/root/box/secret");
  EXPECT_EQ(paths_.map("//data//x/"), "/box/root/data/x");
}

TEST_F(PathsTest, RelativePathsAreLeftAlone) {
  EXPECT_EQ(paths_.map("data/x"), "data/x");
}

TEST_F(PathsTest, TheMountPointShowsTheDiscWhileItIsMounted) {
  EXPECT_EQ(paths_.map("/cdrom/ovf-env.xml"), "/box/root/cdrom/ovf-env.xml");
  paths_.set_mounted("/media/disc");
  EXPECT_EQ(paths_.map("/cdrom/ovf-env.xml"), "/media/disc/ovf-env.xml");
  EXPECT_EQ(paths_.map("/box/root/cdrom/ovf-env.xml"), "/media/disc/ovf-env.xml");
  EXPECT_EQ(paths_.map("/cdrom"), "/media/disc");
  EXPECT_EQ(paths_.map("/cdrom2/x"), "/box/root/cdrom2/x");
  paths_.set_mounted("");
  EXPECT_EQ(paths_.map("/cdrom"), "/box/root/cdrom");
}

TEST_F(PathsTest, ShownIsWithoutTheRoot) {
  EXPECT_EQ(paths_.shown("/box/root/data/x"), "/data/x");
  EXPECT_EQ(paths_.shown("/data/x"), "/data/x");
}

}  // namespace
}  // namespace sandbox
