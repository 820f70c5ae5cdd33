// The provision status record: the argument of the protocol's report_provision_status. Four texts, each may be absent
// (null); they stay the caller's.
#ifndef KELVANE_INCLUDE_PROVISION_STATUS_H
#define KELVANE_INCLUDE_PROVISION_STATUS_H

namespace kelvane {

struct ProvisionStatus {
  const char *state;        // "NotReady" or "Ready"
  const char *substatus;    // e.g. "Provisioning"
  const char *description;  // e.g. "Starting"
  const char *thumbprint;   // certificate thumbprint to publish in the role properties
};

}  // namespace kelvane

#endif
