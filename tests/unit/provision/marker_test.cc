#include "provision/marker.h"

#include <unistd.h>

#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"
#include "tests/support/refused_stat.h"

namespace {

const char kMarker[] = "/data/etc/.provisioned";

class Marker : public RecordingTest {
 protected:
  FakeOs os_;
};

TEST_F(Marker, HoldsTheAddressInHexadecimalAndNothingForNone) {
  EXPECT_EQ(kelvane::marker_write(0x10813FA8), 0);
  EXPECT_EQ(os_.read(kMarker), "10813fa8\n");
  EXPECT_EQ(kelvane::marker_write(0), 0);
  EXPECT_EQ(os_.read(kMarker), "");
}

TEST_F(Marker, OnAFullDiskIsLoggedAboveLevel0) {
  ASSERT_EQ(symlink("/dev/full", os_.real(kMarker).c_str()), 0);
  for (const int32_t level : {0, 1}) {
    recording::clear_trace();
    recording::set_debug_level(level);
    EXPECT_EQ(kelvane::marker_write(0x10813FA8), -1);
    EXPECT_EQ(
        recording::messages(),
        level == 0 ? Lines{} : Lines{"[kelvane]: cannot write /data/etc/.provisioned: No space left on device\n"});
  }
  EXPECT_TRUE(kelvane::marker_exists());
  kelvane::marker_withdraw();
  EXPECT_FALSE(kelvane::marker_exists());
}

TEST_F(Marker, WhoseLengthCannotBeToldIsNotReset) {
  os_.write(kMarker, "more than ten bytes");
  {
    const refused_stat::Refusal refusal;
    kelvane::marker_reset_if_long();
  }
  EXPECT_EQ(os_.read(kMarker), "more than ten bytes");
  kelvane::marker_reset_if_long();
  EXPECT_EQ(os_.read(kMarker), "");
}

}  // namespace
