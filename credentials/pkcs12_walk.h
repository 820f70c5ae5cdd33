// Walks a decoded PKCS#12 container into the certificate store, and offers each certificate of it as an SSH key. Called
// by the unwrapping of the platform's certificates (credentials/cms_container.h), on the main thread; blocks for as
// long as the container's key derivation takes, which is bounded: 32 to 42 ms, by its algorithm. Only the empty
// password is tried, and no MAC is checked: what protects a container is the message around it. A broken container
// leaves in the store what stood in front of the broken place, and so does one that costs too much. Logs nothing.
#ifndef KELVANE_CREDENTIALS_PKCS12_WALK_H
#define KELVANE_CREDENTIALS_PKCS12_WALK_H

#include <openssl/pkcs12.h>
#include <stdint.h>

namespace kelvane {

// Receives each certificate of a container as an OpenSSH key text with the certificate's thumbprint and 0. The texts
// are borrowed. SSHPubKeyAdd has this form; the result is not looked at.
using CertificateCallback = int32_t (*)(const char *public_key, const char *fingerprint, int32_t selected);

// Clears the store and fills it from a decoded container, which stays the caller's. The callback may be null.
void ProcessPKCS12(PKCS12 *container, CertificateCallback callback);

}  // namespace kelvane

#endif
