// Records of the configuration database as an appliance may keep them, every byte of any value, fields without an end
// among them. Start-up changes in them what it is to change, and no other byte; it takes time zone and endpoint from
// them.
#include <cstdlib>
#include <cstring>

#include "core/admin_lock.h"
#include "core/time_zone.h"
#include "provision/endpoint_wait.h"
#include "provision/ports.h"
#include "tests/fuzz/appliance_world.h"
#include "tests/fuzz/world.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static FakeOs os;
  const fuzz::Appliance appliance = fuzz::appliance_of(fuzz::bytes_of(data, size));
  kelvane::time_zone_apply();
  const ncfg_system_settings &settings = appliance.settings;
  const std::string zone(settings.time_zone, strnlen(settings.time_zone, sizeof settings.time_zone));
  fuzz::require(settings.daylight_saving != 0 || std::getenv("TZ") == zone, "the time zone is the record's");
  const bool known = appliance.port1.AzureEndpoint != 0;
  const int32_t expected = known ? kelvane::kEndpointFound : kelvane::kEndpointUnknown;
  fuzz::require(kelvane::waitForEndpoint() == expected, "the endpoint is that of port1");
  kelvane::ProvisionAgent_ResetPorts();
  kelvane::admin_lock();
  fuzz::require_started(appliance);
  fuzz::require(recording::open_queries() == 0 && recording::misuses().empty(), "the platform is used as it wants");
  recording::reset();
  return 0;
}
