// The transport certificate: a fresh RSA key and self-signed certificate, made once at every start and kept in memory
// only, to which the platform encrypts the secrets it sends. Made by start-up before any protocol traffic; both
// protocols and the handler settings borrow it. Making the key takes a tenth of a second or more; nothing else blocks.
// The key never reaches the disk.
#ifndef KELVANE_CREDENTIALS_TRANSPORT_CERT_H
#define KELVANE_CREDENTIALS_TRANSPORT_CERT_H

#include <openssl/ossl_typ.h>
#include <stdint.h>

namespace kelvane {

// All three none until TransportCertMake succeeds.
struct TransportCert {
  EVP_PKEY *key;
  X509 *certificate;
  char *encoded_certificate;  // base64 of the DER form, one line, padded
};

// Discards any previous transport certificate and makes a new one. 0; -1 with everything none. A certificate that
// cannot be encoded is kept, with no encoded text, and counts as success.
int32_t TransportCertMake();

// Lends the three members, to be freed by nobody. 0.
int32_t TransportCertGet(TransportCert *copy);

// Writes certificate and private key to the log as PEM, in clear: the operator's test command. Not gated by the level.
void TransportCertDump();

// Frees the three members and sets each to none. For an orderly end; the agent's own flow never calls it.
void TransportCertCleanup();

}  // namespace kelvane

#endif
