// The appliance's host name: in the configuration, in the shared debug record and in the kernel. Called by first boot.
// Blocks in the platform only; failures are logged here or ignored.
#ifndef KELVANE_PROVISION_HOST_NAME_H
#define KELVANE_PROVISION_HOST_NAME_H

namespace kelvane {

// Sets the host name, cut to what each place takes. A null name is logged and changes nothing.
void ProvisionAgent_SetHostname(const char *name);

}  // namespace kelvane

#endif
