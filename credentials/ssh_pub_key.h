// The SSH public key store: candidates from certificates and from the provisioning document, of which the selected
// ones, three at the most, are written into the administrator account. Called by the unwrapping of the platform's
// certificates, provisioning and the VM-access plugin, on the main thread; blocks only in the platform's account call.
// Refusals are logged, never returned; what there is no memory for is.
#ifndef KELVANE_CREDENTIALS_SSH_PUB_KEY_H
#define KELVANE_CREDENTIALS_SSH_PUB_KEY_H

#include <stdint.h>

namespace kelvane {

// Adds a candidate: an OpenSSH one-line key, the thumbprint of its certificate (may be null), and whether it is to be
// installed. Copies what it keeps. Duplicates and a 20th candidate are dropped, which is no failure. 0; -1 when memory
// ran out for a copy.
int32_t SSHPubKeyAdd(const char *public_key, const char *fingerprint, int32_t selected);

// Selects the first candidate with this fingerprint, compared without regard to case.
void SSHPubKeyFlag(const char *fingerprint);

// Installs the first three selected keys into the account's slots 1 to 3 and empties the store.
void SSHPubKeySet(const char *user_name);

// Installs one key in the first slot that accepts it. The result of the last platform call: 0 on success.
int32_t SSHPubKeySetFromKey(const char *user_name, const char *public_key);

// The same for the key of a PEM certificate; -1 for every input, deliberately (see the source).
int32_t SSHPubKeySetFromCert(const char *user_name, const char *pem);

}  // namespace kelvane

#endif
