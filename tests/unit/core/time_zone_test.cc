#include "core/time_zone.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "tests/support/fake_os.h"
#include "tests/support/recording_fixture.h"

namespace {

class TimeZone : public RecordingTest {
 protected:
  TimeZone() { unsetenv("TZ"); }
  ~TimeZone() override { unsetenv("TZ"); }

  static void seed(const char *zone, int32_t index, int32_t daylight_saving) {
    ncfg_system_settings settings = {};
    strncpy(settings.time_zone, zone, sizeof settings.time_zone);
    settings.time_zone_index = index;
    settings.daylight_saving = daylight_saving;
    recording::seed_system_settings(settings);
  }
  static std::string tz() {
    const char *value = getenv("TZ");
    return value != nullptr ? value : "(not set)";
  }
  std::string link() const { return std::filesystem::read_symlink(os_.real("/etc/localtime")).string(); }

  FakeOs os_;
};

TEST_F(TimeZone, WithoutDaylightSavingSetsTzAndReplacesTheLink) {
  seed("CET-1", 1, 0);
  os_.write("/etc/localtime", "old");
  kelvane::time_zone_apply();
  EXPECT_EQ(tz(), "CET-1");
  EXPECT_EQ(link(), "/etc/zoneinfo/Europe/Berlin");
  EXPECT_EQ(recording::trace(), (Lines{"nCfg_query(100)", "cmf_query_update(100)", "setenv(\"TZ\", \"CET-1\", 1)",
                                       "unlink(\"/etc/localtime\")", "get_zoneinfo(1)",
                                       "symlink(\"/etc/zoneinfo/Europe/Berlin\", \"/etc/localtime\")", "tzset()"}));
}

TEST_F(TimeZone, OverwritesATzThatIsSet) {
  setenv("TZ", "old", 1);
  recording::clear_trace();
  seed("UTC", 0, 0);
  kelvane::time_zone_apply();
  EXPECT_EQ(tz(), "UTC");
}

TEST_F(TimeZone, WithDaylightSavingLeavesTzAndStillReplacesTheLink) {
  seed("CET-1", 1, -1);
  os_.write("/etc/localtime", "old");
  kelvane::time_zone_apply();
  EXPECT_EQ(tz(), "(not set)");
  EXPECT_EQ(link(), "/etc/zoneinfo/Europe/Berlin");
  EXPECT_EQ(recording::trace(),
            (Lines{"nCfg_query(100)", "cmf_query_update(100)", "ncfg_active_dayst()", "unlink(\"/etc/localtime\")",
                   "get_zoneinfo(1)", "symlink(\"/etc/zoneinfo/Europe/Berlin\", \"/etc/localtime\")", "tzset()"}));
}

TEST_F(TimeZone, WithoutALinkBeforeStillMakesOne) {
  seed("UTC", 0, 0);
  kelvane::time_zone_apply();
  EXPECT_EQ(link(), "/etc/zoneinfo/Etc/UTC");
}

TEST_F(TimeZone, WithoutARecordDoesNothing) {
  recording::fail_always("cmf_query_update");
  kelvane::time_zone_apply();
  EXPECT_EQ(recording::trace(), (Lines{"nCfg_query(100)", "cmf_query_update(100) -> failed"}));
  recording::clear_trace();
  recording::fail_always("nCfg_query");
  kelvane::time_zone_apply();
  EXPECT_EQ(recording::trace(), Lines{"nCfg_query(100) -> failed"});
}

TEST_F(TimeZone, TakesAFullFieldWithoutTerminator) {
  seed(std::string(64, 'Z').c_str(), 0, 0);
  kelvane::time_zone_apply();
  EXPECT_EQ(tz(), std::string(64, 'Z'));
}

TEST_F(TimeZone, CutsALinkTargetTo1023Bytes) {
  seed("UTC", 2, 0);
  recording::set_zone(2, std::string(2000, 'z'));
  kelvane::time_zone_apply();
  EXPECT_EQ(link(), "/etc/zoneinfo/" + std::string(1009, 'z'));
}

TEST_F(TimeZone, GoesOnWhenTheLinkCannotBeMade) {
  seed("UTC", 0, 0);
  os_.fail("symlink(\"/etc/zoneinfo/Etc/UTC\", \"/etc/localtime\")", EROFS);
  kelvane::time_zone_apply();
  EXPECT_EQ(recording::trace().back(), "tzset()");
}

}  // namespace
