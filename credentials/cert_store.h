// The certificate store: up to 20 certificates with their private keys, found by thumbprint. Refilled from scratch from
// the platform's PKCS#12 container by each certificates document, read when extension settings are decrypted; nothing
// is persisted. Called by both protocols and the handler settings, on the main thread; never blocks. A broken container
// leaves what was stored before the broken place; the callers log. Everything in the store belongs to it until
// CertStoreClear: no caller may free what it finds.
#ifndef KELVANE_CREDENTIALS_CERT_STORE_H
#define KELVANE_CREDENTIALS_CERT_STORE_H

#include <openssl/pkcs12.h>
#include <stddef.h>
#include <stdint.h>

namespace kelvane {

// Receives each certificate of a container as an OpenSSH key text with the certificate's thumbprint and 0. The texts
// are borrowed. SSHPubKeyAdd has this form.
using CertificateCallback = void (*)(const char *public_key, const char *fingerprint, int32_t selected);

// Clears the store and fills it from a decoded container, which stays the caller's. The callback may be null.
void ProcessPKCS12(PKCS12 *container, CertificateCallback callback);

// 1 when a record's thumbprint (40 uppercase hexadecimal characters) equals the text exactly, with the record's
// certificate and key lent through the outputs (either may come out null); else 0, outputs untouched.
int32_t CertStoreFind(const char *thumbprint, X509 **certificate, EVP_PKEY **key);

// Attach a certificate or a key to the record of a key id, made if new. Ownership passes in every case; a second one
// for the same key id, or one that finds the store full, is freed.
void CertStoreCert(const uint8_t *key_id, size_t key_id_length, X509 *certificate);
void CertStoreKey(const uint8_t *key_id, size_t key_id_length, EVP_PKEY *key);

// Frees everything and empties the store.
void CertStoreClear();

// Writes the store to the log, private keys in clear included: the operator's test command. Not gated by the level.
void CertStoreDump();

}  // namespace kelvane

#endif
