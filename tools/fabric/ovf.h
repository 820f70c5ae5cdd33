// The provisioning document of a scenario. Called by the artifacts; a pure function, nothing blocks.
#ifndef KELVANE_TOOLS_FABRIC_OVF_H
#define KELVANE_TOOLS_FABRIC_OVF_H

#include <string>

#include "tools/fabric/tenant.h"

namespace kelvane::fabric {

// The text of ovf-env.xml. It holds the password, so whoever writes it keeps it private.
std::string ovf_document(const OvfSpec &ovf, const Tenant &tenant);

}  // namespace kelvane::fabric

#endif
