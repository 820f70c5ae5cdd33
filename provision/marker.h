// The provisioning marker "/data/etc/.provisioned": while it exists, the appliance counts as provisioned. Written by
// first boot, emptied by the endpoint wait, looked at by start-up. Blocks for as long as the disk does. A marker that
// cannot be written is logged here.
#ifndef KELVANE_PROVISION_MARKER_H
#define KELVANE_PROVISION_MARKER_H

#include <stdint.h>

namespace kelvane {

// Whether there is a marker at all; and whether it can be read, which is what provisioning asks.
bool marker_exists();
bool marker_readable();

// Creates the marker or replaces what it holds: the address in hexadecimal and a line end, nothing for 0. 0; -1 when
// there is none afterwards, an empty one, or, behind a write that was cut short, one with a part of the address.
int32_t marker_write(uint32_t endpoint);

// Takes a marker that could not be written whole away again.
void marker_withdraw();

// Replaces a marker of more than 10 bytes by an empty one. A marker with an address has at most 9.
void marker_reset_if_long();

}  // namespace kelvane

#endif
