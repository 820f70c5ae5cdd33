// The process's time zone, from the system settings. Called once by start-up. Changes TZ, and "/etc/localtime" for the
// whole appliance. Blocks only in the platform; a failure leaves what was there, and nothing is logged.
#ifndef KELVANE_CORE_TIME_ZONE_H
#define KELVANE_CORE_TIME_ZONE_H

namespace kelvane {

// Puts the configured time zone into force. Does nothing when there is no system-settings record.
void time_zone_apply();

}  // namespace kelvane

#endif
