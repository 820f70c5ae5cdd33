#include "core/base/utc_time.h"

#include <time.h>

namespace kelvane {

void utc_time_format(int64_t seconds, UtcTime *out) {
  const time_t when = seconds;
  struct tm utc = {};
  out->text[0] = '\0';
  if (gmtime_r(&when, &utc) != nullptr) {
    (void)strftime(out->text, sizeof out->text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  }
}

}  // namespace kelvane
