#include "provision/media.h"

#include <unistd.h>

#include <cerrno>

#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"

namespace {

const char kMkdir[] = "mkdir(\"/cdrom\", 0700) -> EEXIST";
const char kOpen[] = "open(\"/dev/sr0\", read)";
const char kClose[] = "close(\"/dev/sr0\")";
const char kUdf[] = "mount(\"/dev/sr0\", \"/cdrom\", \"udf\", 1, null)";
const char kIso[] = "mount(\"/dev/sr0\", \"/cdrom\", \"iso9660\", 1, null)";

class Media : public RecordingTest {
 protected:
  Media() { os_.write("/dev/sr0", ""); }

  FakeOs os_;
};

TEST_F(Media, MountsAsUdfAndTriesNothingElse) {
  recording::set_debug_level(7);
  EXPECT_EQ(kelvane::mountDVD(), 0);
  EXPECT_EQ(recording::trace(), (Lines{kMkdir, "message: [kelvane]: mountDVD: Attempting mount\\n", kOpen, kClose, kUdf,
                                       "message: [kelvane]: Mounted CDROM succeeded on attempt #1\\n"}));
}

TEST_F(Media, MakesTheMountPoint) {
  ASSERT_EQ(::unlink(os_.real("/cdrom/.keep").c_str()), 0);
  ASSERT_EQ(::rmdir(os_.real("/cdrom").c_str()), 0);
  EXPECT_EQ(kelvane::mountDVD(), 0);
  EXPECT_EQ(recording::trace(), (Lines{"mkdir(\"/cdrom\", 0700)", kOpen, kClose, kUdf}));
  EXPECT_EQ(support::mode_of(os_.real("/cdrom")), 0700);
}

TEST_F(Media, FallsBackToIso9660) {
  os_.fail(kUdf, EINVAL);
  EXPECT_EQ(kelvane::mountDVD(), 0);
  EXPECT_EQ(recording::trace(), (Lines{kMkdir, kOpen, kClose, std::string(kUdf) + " -> EINVAL", kIso}));
}

TEST_F(Media, WithoutADeviceMakesFourAttemptsFiveSecondsApart) {
  ASSERT_EQ(::unlink(os_.real("/dev/sr0").c_str()), 0);
  const time_t before = os_.now;
  EXPECT_EQ(kelvane::mountDVD(), -1);
  const std::string open = std::string(kOpen) + " -> ENOENT";
  EXPECT_EQ(
      recording::trace(),
      (Lines{kMkdir, open, "sleep(5)", "message: mountDVD: Retrying: 2 of 5\\n", open, "sleep(5)",
             "message: mountDVD: Retrying: 3 of 5\\n", open, "sleep(5)", "message: mountDVD: Retrying: 4 of 5\\n", open,
             "sleep(5)", "message: mountDVD: Retrying: 5 of 5\\n", "message: mountDVD: Failed mounting CDROM\\n"}));
  EXPECT_EQ(os_.now - before, 20);
}

TEST_F(Media, AMediumThatMountsAsNothingIsLoggedWithMountsResult) {
  os_.fail(kUdf, EINVAL);
  os_.fail(kIso, ENODEV);
  EXPECT_EQ(kelvane::mountDVD(), -1);
  EXPECT_EQ(
      recording::messages(),
      (Lines{"Failed #-1 - 19 No such device\n", "mountDVD: Retrying: 2 of 5\n", "Failed #-1 - 19 No such device\n",
             "mountDVD: Retrying: 3 of 5\n", "Failed #-1 - 19 No such device\n", "mountDVD: Retrying: 4 of 5\n",
             "Failed #-1 - 19 No such device\n", "mountDVD: Retrying: 5 of 5\n", "mountDVD: Failed mounting CDROM\n"}));
  EXPECT_EQ(recording::calls_of("close").size(), 4u);
}

TEST_F(Media, ADeviceThatComesLateIsMountedOnItsAttempt) {
  recording::set_debug_level(7);
  os_.fail(kOpen, ENOMEDIUM, 2);
  EXPECT_EQ(kelvane::mountDVD(), 0);
  EXPECT_EQ(recording::messages(),
            (Lines{"[kelvane]: mountDVD: Attempting mount\n", "mountDVD: Retrying: 2 of 5\n",
                   "mountDVD: Retrying: 3 of 5\n", "[kelvane]: Mounted CDROM succeeded on attempt #3\n"}));
}

TEST_F(Media, TheFourthAttemptIsTheLast) {
  os_.fail(kOpen, ENOMEDIUM, 3);
  EXPECT_EQ(kelvane::mountDVD(), 0);
  os_.fail(kOpen, ENOMEDIUM, 4);
  EXPECT_EQ(kelvane::mountDVD(), -1);
}

TEST_F(Media, TracesPrintAboveSixOnly) {
  recording::set_debug_level(6);
  EXPECT_EQ(kelvane::mountDVD(), 0);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(Media, FailuresPrintAtEveryLevel) {
  recording::set_debug_level(-1);
  os_.fail(kUdf, EINVAL);
  os_.fail(kIso, ENODEV);
  EXPECT_EQ(kelvane::mountDVD(), -1);
  EXPECT_EQ(recording::messages().size(), 9u);
}

}  // namespace
