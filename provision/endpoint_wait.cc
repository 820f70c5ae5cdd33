#include "provision/endpoint_wait.h"

#include <unistd.h>

#include "core/base/query_owner.h"
#include "protocol/wire/endpoint.h"
#include "provision/marker.h"

namespace kelvane {

namespace {

// One more than the closing line says; both numbers are deliberate.
constexpr int32_t kTries = 11;

ncfg_interface *find_first_port() {
  return static_cast<ncfg_interface *>(query_find(nCfg_query(NCFG_TABLE_INTERFACES), "port1"));
}

void force_lease(ncfg_interface *port) {
  if (port->addressing_mode != NCFG_ADDRESSING_DHCP) {
    port->addressing_mode = NCFG_ADDRESSING_DHCP;
    __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_INTERFACES, port, port, 0);
  }
}

int32_t poll_endpoint() {
  for (int32_t i = 0; i < kTries; i++) {
    const ncfg_interface *port = find_first_port();
    if (port == nullptr) {
      sleep(5);
      return kEndpointNoInterface;
    }
    const uint32_t endpoint = port->AzureEndpoint;
    message("AzureEndpoint = %u\n", endpoint);
    if (endpoint != 0) {
      WireProtocolSetEndpoint(endpoint);
      return kEndpointFound;
    }
    sleep(3);
  }
  message("Wait for AzureEndpoint failed for 10 times.\n");
  return kEndpointUnknown;
}

}  // namespace

int32_t waitForEndpoint() {
  marker_reset_if_long();
  ncfg_interface *port = find_first_port();
  if (port == nullptr) {
    message("%s:%d cannot find port1\n", "waitForEndpoint", 280);
    return kEndpointNoInterface;
  }
  force_lease(port);
  return poll_endpoint();
}

}  // namespace kelvane
