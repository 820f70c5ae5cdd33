// Time-zone indices and the daylight-saving rules of the zone that the system settings name.
#include <cstdlib>
#include <ctime>

#include "platform/platform.h"

namespace {

constexpr const char *kZones[] = {
    "Etc/UTC",
    "Pacific/Pago_Pago",
    "Pacific/Honolulu",
    "America/Anchorage",
    "America/Los_Angeles",
    "America/Phoenix",
    "America/Denver",
    "America/Chicago",
    "America/Mexico_City",
    "America/New_York",
    "America/Bogota",
    "America/Halifax",
    "America/Caracas",
    "America/Santiago",
    "America/St_Johns",
    "America/Sao_Paulo",
    "America/Argentina/Buenos_Aires",
    "Atlantic/South_Georgia",
    "Atlantic/Azores",
    "Europe/London",
    "Europe/Lisbon",
    "Europe/Berlin",
    "Europe/Paris",
    "Europe/Madrid",
    "Europe/Rome",
    "Africa/Lagos",
    "Europe/Athens",
    "Europe/Kiev",
    "Africa/Cairo",
    "Africa/Johannesburg",
    "Asia/Jerusalem",
    "Europe/Istanbul",
    "Europe/Moscow",
    "Asia/Riyadh",
    "Africa/Nairobi",
    "Asia/Tehran",
    "Asia/Dubai",
    "Asia/Kabul",
    "Asia/Karachi",
    "Asia/Kolkata",
    "Asia/Kathmandu",
    "Asia/Dhaka",
    "Asia/Yangon",
    "Asia/Bangkok",
    "Asia/Shanghai",
    "Asia/Singapore",
    "Australia/Perth",
    "Asia/Tokyo",
    "Asia/Seoul",
    "Australia/Adelaide",
    "Australia/Brisbane",
    "Australia/Sydney",
    "Pacific/Guadalcanal",
    "Pacific/Auckland",
    "Pacific/Tongatapu",
};
constexpr int32_t kZoneCount = static_cast<int32_t>(sizeof kZones / sizeof kZones[0]);

}  // namespace

const char *get_zoneinfo(int32_t index) {
  return kZones[index < 0 || index >= kZoneCount ? 0 : index];
}

void ncfg_active_dayst(void) {
  cmf_query *query = cmf_query_create(NCFG_TABLE_SYSTEM_SETTINGS);
  const auto *settings = static_cast<const ncfg_system_settings *>(cmf_query_update(query));
  if (settings != nullptr) {
    setenv("TZ", get_zoneinfo(settings->time_zone_index), 1);
  }
  cmf_query_free(query);
  tzset();
}
