// The wire server's address and the URLs that follow from it. Set by the endpoint wait, read by the wire protocol,
// provisioning and telemetry. Never blocks, cannot fail.
#ifndef KELVANE_PROTOCOL_WIRE_ENDPOINT_H
#define KELVANE_PROTOCOL_WIRE_ENDPOINT_H

#include <stdint.h>

namespace kelvane {

inline constexpr uint32_t kWireUrlSize = 1024;

struct WireUrls {
  char versions[kWireUrlSize];
  char goal_state[kWireUrlSize];
  char health[kWireUrlSize];
  char role_properties[kWireUrlSize];
  char telemetry_data[kWireUrlSize];
};

// Stores the IPv4 address, whose first octet lies lowest in memory, and rebuilds the URLs. May be called again.
void WireProtocolSetEndpoint(uint32_t address);

// The stored address, 0 while unset.
uint32_t WireProtocolGetEndpoint();

// The URLs, empty while no address was set; lent, they change with the next setting.
const WireUrls *wire_urls();

}  // namespace kelvane

#endif
