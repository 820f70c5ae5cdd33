#include "core/pid_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"

namespace {

class PidFile : public RecordingTest {
 protected:
  FakeOs os_;
};

TEST_F(PidFile, HoldsTheProcessIdWithoutALineEnd) {
  kelvane::pid_file_write();
  EXPECT_EQ(os_.read("/var/run/kelvane.pid"), std::to_string(getpid()));
  EXPECT_EQ(support::mode_of(os_.real("/var/run/kelvane.pid")), 0644);
  EXPECT_EQ(recording::trace(),
            (Lines{"open(\"/var/run/kelvane.pid\", create, 0644)", "close(\"/var/run/kelvane.pid\")"}));
}

TEST_F(PidFile, ReplacesALongerOne) {
  os_.write("/var/run/kelvane.pid", "123456789012345\n");
  kelvane::pid_file_write();
  EXPECT_EQ(os_.read("/var/run/kelvane.pid"), std::to_string(getpid()));
}

TEST_F(PidFile, APipeInItsPlaceIsSkippedSilently) {
  recording::set_debug_level(7);
  ASSERT_EQ(mkfifo(os_.real("/var/run/kelvane.pid").c_str(), 0600), 0);
  kelvane::pid_file_write();
  EXPECT_EQ(recording::trace(), Lines{"open(\"/var/run/kelvane.pid\", create, 0644) -> ENXIO"});
}

TEST_F(PidFile, IsSkippedSilentlyWhenItCannotBeOpened) {
  recording::set_debug_level(7);
  os_.fail("open(\"/var/run/kelvane.pid\", create, 0644)", EROFS);
  kelvane::pid_file_write();
  EXPECT_EQ(recording::trace(), Lines{"open(\"/var/run/kelvane.pid\", create, 0644) -> EROFS"});
}

}  // namespace
