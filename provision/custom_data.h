// The user's custom data: copied from the provisioning medium at every start until provisioning has moved the copy to
// its final place. The bytes are neither decoded nor looked at. Blocks for as long as the disk does; a failure leaves
// the custom data out.
#ifndef KELVANE_PROVISION_CUSTOM_DATA_H
#define KELVANE_PROVISION_CUSTOM_DATA_H

namespace kelvane {

// Copies the medium's custom data to a waiting place, unless there is final custom data already.
void custom_data_keep();

// Moves the waiting custom data to its final place, unless there is some already.
void custom_data_settle();

}  // namespace kelvane

#endif
