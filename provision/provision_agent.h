// First-boot provisioning: turns the provisioning document into appliance configuration and tells the platform, once
// before and once after. Called once by start-up, after the protocol has fetched the goal state, so that the SSH keys
// that came with certificates are known. Blocks for as long as the protocol's reports do. A run that gives up leaves
// the marker away and is repeated at the next start; "Ready" is reported in every case, so that the platform does not
// take the appliance for lost.
#ifndef KELVANE_PROVISION_PROVISION_AGENT_H
#define KELVANE_PROVISION_PROVISION_AGENT_H

#include <mxml.h>

#include "protocol/protocol.h"

namespace kelvane {

// Provisions, unless the marker says that this was done. document may be null and stays the caller's: the appliance is
// then marked as provisioned without an account. document_lost: it is null because memory ran out for it, and the
// appliance is not marked.
void ProvisionAgent_HandlerRun(const Protocol *protocol, mxml_node_t *document, bool document_lost);

}  // namespace kelvane

#endif
