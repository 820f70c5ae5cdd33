// Points in time as the platform's documents and headers write them. Never blocks, cannot fail.
#ifndef KELVANE_CORE_BASE_UTC_TIME_H
#define KELVANE_CORE_BASE_UTC_TIME_H

#include <stdint.h>

namespace kelvane {

// "2026-01-31T23:59:59Z", with room for years of more digits; empty for a time that the calendar does not hold.
struct UtcTime {
  char text[64];
};

// Formats seconds since the epoch.
void utc_time_format(int64_t seconds, UtcTime *out);

}  // namespace kelvane

#endif
