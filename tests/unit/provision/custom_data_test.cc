#include "provision/custom_data.h"

#include <cerrno>

#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"

namespace {

const char kWaiting[] = "access(\"/etc/tmpdata.conf\", F_OK)";
const char kNoFinal[] = "access(\"/data/etc/.customdata\", F_OK) -> ENOENT";
const char kCopy[] = "ncfg_copyfile(\"/etc/tmpdata.conf\", \"/data/etc/.customdata\")";
const char kRename[] = "rename(\"/etc/tmpdata.conf\", \"/data/etc/.customdata\")";

class CustomData : public RecordingTest {
 protected:
  FakeOs os_;
};

TEST_F(CustomData, IsMovedToItsFinalPlaceAsItIs) {
  const std::string bytes("b64==\0\xff\n", 8);
  os_.write("/etc/tmpdata.conf", bytes);
  kelvane::custom_data_settle();
  EXPECT_EQ(recording::trace(), (Lines{kWaiting, kNoFinal, kRename}));
  EXPECT_EQ(os_.read("/data/etc/.customdata"), bytes);
  EXPECT_EQ(os_.exists("/etc/tmpdata.conf"), false);
}

TEST_F(CustomData, FinalDataIsNotReplaced) {
  os_.write("/etc/tmpdata.conf", "new");
  os_.write("/data/etc/.customdata", "old");
  kelvane::custom_data_settle();
  EXPECT_EQ(recording::calls_of("rename"), Lines{});
  EXPECT_EQ(os_.read("/data/etc/.customdata"), "old");
  EXPECT_EQ(os_.read("/etc/tmpdata.conf"), "new");
}

TEST_F(CustomData, WithoutWaitingDataNothingIsMoved) {
  kelvane::custom_data_settle();
  EXPECT_EQ(recording::trace(), Lines{std::string(kWaiting) + " -> ENOENT"});
}

TEST_F(CustomData, AMoveThatFailsIsLogged) {
  os_.write("/etc/tmpdata.conf", "new");
  os_.fail(kRename, ENOSPC);
  recording::set_debug_level(1);
  kelvane::custom_data_settle();
  EXPECT_EQ(recording::messages(),
            Lines{"[kelvane]: cannot move /etc/tmpdata.conf to /data/etc/.customdata: No space left on device\n"});
  EXPECT_EQ(recording::calls_of("ncfg_copyfile"), Lines{});
  EXPECT_EQ(os_.read("/etc/tmpdata.conf"), "new");
}

TEST_F(CustomData, BetweenFileSystemsIsCopiedAndThenRemoved) {
  os_.write("/etc/tmpdata.conf", "new");
  os_.fail(kRename, EXDEV);
  recording::set_debug_level(7);
  kelvane::custom_data_settle();
  EXPECT_EQ(recording::trace(),
            (Lines{kWaiting, kNoFinal, std::string(kRename) + " -> EXDEV", kCopy, "unlink(\"/etc/tmpdata.conf\")"}));
  EXPECT_EQ(os_.exists("/etc/tmpdata.conf"), false);
}

TEST_F(CustomData, ACopyThatFailsIsLoggedAndTheWaitingDataStays) {
  os_.write("/etc/tmpdata.conf", "new");
  os_.fail(kRename, EXDEV);
  recording::fail_always("ncfg_copyfile");
  recording::on_call("ncfg_copyfile", [] { errno = 0; });  // whatever the platform leaves there
  recording::set_debug_level(1);
  kelvane::custom_data_settle();
  EXPECT_EQ(recording::messages(),
            Lines{"[kelvane]: cannot move /etc/tmpdata.conf to /data/etc/.customdata: Invalid cross-device link\n"});
  EXPECT_EQ(os_.read("/etc/tmpdata.conf"), "new");
}

TEST_F(CustomData, WaitingDataThatCannotBeRemovedIsLogged) {
  os_.write("/etc/tmpdata.conf", "new");
  os_.fail(kRename, EXDEV);
  os_.fail("unlink(\"/etc/tmpdata.conf\")", EROFS);
  recording::set_debug_level(1);
  kelvane::custom_data_settle();
  EXPECT_EQ(recording::messages(),
            Lines{"[kelvane]: cannot move /etc/tmpdata.conf to /data/etc/.customdata: Read-only file system\n"});
}

TEST_F(CustomData, ItsFailureLinePrintsAboveZeroOnly) {
  os_.write("/etc/tmpdata.conf", "new");
  os_.fail(kRename, ENOSPC);
  recording::set_debug_level(0);
  kelvane::custom_data_settle();
  EXPECT_EQ(recording::messages(), Lines{});
}

}  // namespace
