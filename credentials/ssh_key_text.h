// The OpenSSH one-line form of a certificate's public key. Called for each certificate of a container and by the SSH
// public key store; never blocks, never logs. A key that is not RSA, or a failed allocation, yields nothing.
#ifndef KELVANE_CREDENTIALS_SSH_KEY_TEXT_H
#define KELVANE_CREDENTIALS_SSH_KEY_TEXT_H

#include <openssl/ossl_typ.h>
#include <stdint.h>

#include "core/base/text.h"

namespace kelvane {

// Derives the "ssh-rsa ..." text and thumbprint of a certificate and passes them to the callback, with 0, and hands the
// key text to *key_text; both may be null. The callback borrows the texts. A certificate whose key is not RSA yields
// nothing: no call, *key_text unchanged.
void makeSSHKey(X509 *certificate, int32_t (*callback)(const char *, const char *, int32_t), Text *key_text);

}  // namespace kelvane

#endif
