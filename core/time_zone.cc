#include "core/time_zone.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "platform/platform.h"

namespace kelvane {

namespace {

constexpr char kLocalTime[] = "/etc/localtime";

const ncfg_system_settings *system_settings() {
  cmf_query *query = nCfg_query(NCFG_TABLE_SYSTEM_SETTINGS);
  return static_cast<const ncfg_system_settings *>(query != nullptr ? cmf_query_update(query) : nullptr);
}

// The field may be full, without a terminator.
void set_tz(const ncfg_system_settings *settings) {
  char zone[sizeof settings->time_zone + 1] = {};
  memcpy(zone, settings->time_zone, sizeof settings->time_zone);
  setenv("TZ", zone, 1);
}

void link_local_time(int32_t zone) {
  char target[1024];
  unlink(kLocalTime);
  snprintf(target, sizeof target, "/etc/zoneinfo/%s", get_zoneinfo(zone));
  // Should this fail, the C library falls back to UTC.
  static_cast<void>(symlink(target, kLocalTime) == 0);
}

}  // namespace

void time_zone_apply() {
  const ncfg_system_settings *settings = system_settings();
  if (settings == nullptr) {
    return;
  }
  if (settings->daylight_saving != 0) {
    ncfg_active_dayst();
  } else {
    set_tz(settings);
  }
  link_local_time(settings->time_zone_index);
  tzset();
}

}  // namespace kelvane
