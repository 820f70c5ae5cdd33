// The fingerprint of the appliance's SSH host key, which the "Ready" report carries. Blocks for as long as the disk
// does; nothing is logged.
#ifndef KELVANE_PROVISION_HOST_KEY_H
#define KELVANE_PROVISION_HOST_KEY_H

#include <stddef.h>
#include <stdint.h>

namespace kelvane {

// Writes at most size characters of the fingerprint, colons left out, without a terminator: the caller zeroes the
// buffer and keeps a byte behind it. 0; -1, the buffer untouched, when there is nothing to read.
int32_t ProvisionAgent_ReadHostKeyFingerprint(char *buffer, size_t size);

}  // namespace kelvane

#endif
