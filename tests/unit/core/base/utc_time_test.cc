#include "core/base/utc_time.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <string>

namespace {

std::string formatted(int64_t seconds) {
  kelvane::UtcTime time;
  memset(time.text, 0x5A, sizeof time.text);
  kelvane::utc_time_format(seconds, &time);
  return time.text;
}

TEST(UtcTime, IsFormattedToTheSecond) {
  EXPECT_EQ(formatted(0), "1970-01-01T00:00:00Z");
  EXPECT_EQ(formatted(1700000000), "2023-11-14T22:13:20Z");
  EXPECT_EQ(formatted(951782400), "2000-02-29T00:00:00Z");
  EXPECT_EQ(formatted(2147483647), "2038-01-19T03:14:07Z");
  EXPECT_EQ(formatted(4102444799), "2099-12-31T23:59:59Z");
  EXPECT_EQ(formatted(-1), "1969-12-31T23:59:59Z");
}

TEST(UtcTime, TheTimeZoneDoesNotMatter) {
  setenv("TZ", "America/New_York", 1);
  tzset();
  EXPECT_EQ(formatted(1700000000), "2023-11-14T22:13:20Z");
  unsetenv("TZ");
  tzset();
}

TEST(UtcTime, YearsMayHaveMoreDigits) {
  EXPECT_EQ(formatted(253402300800), "10000-01-01T00:00:00Z");
  EXPECT_EQ(formatted(67767976233532799), "2147483647-12-31T23:59:59Z");
}

TEST(UtcTime, ATimeBeyondTheCalendarIsEmpty) {
  EXPECT_EQ(formatted(67768036191676800), "");
  EXPECT_EQ(formatted(INT64_MAX), "");
  EXPECT_EQ(formatted(INT64_MIN), "");
}

}  // namespace
