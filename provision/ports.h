// The network ports behind the first one, which first boot puts on leased addresses. Blocks in the platform only.
#ifndef KELVANE_PROVISION_PORTS_H
#define KELVANE_PROVISION_PORTS_H

#include <stdint.h>

namespace kelvane {

// Puts every port but "port1" that no operator configured by hand on a leased address. 0; failures are ignored.
int32_t ProvisionAgent_ResetPorts();

}  // namespace kelvane

#endif
