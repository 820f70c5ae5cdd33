// What first boot takes from the provisioning document: host name, user name, password, and the SSH keys, which go
// straight into the SSH public key store. Never blocks, never logs; what the document does not say, or says in another
// shape, is absent.
#ifndef KELVANE_PROVISION_OVF_VALUES_H
#define KELVANE_PROVISION_OVF_VALUES_H

#include <mxml.h>
#include <stdint.h>

#include "core/base/text.h"

namespace kelvane {

// Each text is the caller's, and stays as it is when the document has no such element; the password is to be wiped.
// 0; -1 when there was no memory for one of these texts, for one of a key's, or for the store's copy of a key: what the
// document asks for is then not known, or would not be done.
int32_t ProvisionAgent_ParseOvfEnv(mxml_node_t *document, Text *host_name, Text *user_name, Text *password);

// 1 when a provisioning document of this run named at least one public key, else 0. Installing keys never lowers it.
int32_t __hasSSHPubKeys();

}  // namespace kelvane

#endif
