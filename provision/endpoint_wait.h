// The endpoint wait: polls the first interface's record for the wire server's address, which the network configuration
// learns with the lease. Called once by start-up; also empties an overgrown provisioning marker. Blocks for up to 33
// seconds, or 35 when the record goes while it waits, less what a signal cuts off. Logs that there was no address, but
// not that there is no record.
#ifndef KELVANE_PROVISION_ENDPOINT_WAIT_H
#define KELVANE_PROVISION_ENDPOINT_WAIT_H

#include <stdint.h>

namespace kelvane {

inline constexpr int32_t kEndpointFound = 0;
inline constexpr int32_t kEndpointNoInterface = -1;
inline constexpr int32_t kEndpointUnknown = -2;

// kEndpointFound once the address was handed to the wire protocol; kEndpointUnknown when it stayed 0 through all tries;
// kEndpointNoInterface when there is no record of the first interface.
int32_t waitForEndpoint();

}  // namespace kelvane

#endif
