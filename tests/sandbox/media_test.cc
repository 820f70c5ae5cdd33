#include "tools/sandbox/media.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace sandbox {
namespace {

class MediaTest : public testing::Test {
 protected:
  MediaTest() { paths_.set_root("/r"); }
  int mount(const char *type) { return media_.mount("/dev/sr0", "/cdrom", type, paths_); }
  Paths paths_;
  Media media_;
};

TEST_F(MediaTest, AnEmptyDriveRefusesEverything) {
  EXPECT_EQ(media_.open_device(), ENOMEDIUM);
  EXPECT_EQ(mount("udf"), ENOMEDIUM);
  EXPECT_EQ(media_.unmount("/cdrom", paths_), EINVAL);
}

TEST_F(MediaTest, OnlyItsOwnFileSystemMounts) {
  media_.insert("/disc", "iso9660", 0);
  EXPECT_EQ(media_.open_device(), 0);
  EXPECT_EQ(mount("udf"), EINVAL);
  EXPECT_EQ(mount("iso9660"), 0);
  EXPECT_EQ(paths_.map("/cdrom/x"), "/disc/x");
  EXPECT_EQ(mount("iso9660"), EBUSY);
  EXPECT_EQ(media_.unmount("/cdrom", paths_), 0);
  EXPECT_EQ(paths_.map("/cdrom/x"), "/r/cdrom/x");
}

TEST_F(MediaTest, TheFirstMountsFailWhenTheyAreToldTo) {
  media_.insert("/disc", "udf", 2);
  EXPECT_EQ(mount("udf"), EIO);
  EXPECT_EQ(mount("udf"), EIO);
  EXPECT_EQ(mount("udf"), 0);
}

TEST_F(MediaTest, OtherDevicesAndPlacesAreUnknown) {
  media_.insert("/disc", "udf", 0);
  EXPECT_EQ(media_.mount("/dev/sr1", "/cdrom", "udf", paths_), ENODEV);
  EXPECT_EQ(media_.mount("/dev/sr0", "/mnt", "udf", paths_), ENODEV);
}

}  // namespace
}  // namespace sandbox
