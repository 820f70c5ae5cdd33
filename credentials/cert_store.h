// The certificate store: up to 20 certificates with their private keys, paired by the key id that a container gives to
// both, found by thumbprint. Refilled from scratch by each container (credentials/pkcs12_walk.h), read when extension
// settings are decrypted; nothing is persisted. Called on the main thread; never blocks. What finds no room is freed
// silently. Everything in the store belongs to it until CertStoreClear: no caller may free what it finds.
#ifndef KELVANE_CREDENTIALS_CERT_STORE_H
#define KELVANE_CREDENTIALS_CERT_STORE_H

#include <openssl/ossl_typ.h>
#include <stddef.h>
#include <stdint.h>

namespace kelvane {

// 1 when a record's thumbprint (40 uppercase hexadecimal characters) equals the text exactly, with the record's
// certificate and key lent through the outputs (either may come out null); else 0, outputs untouched.
int32_t CertStoreFind(const char *thumbprint, X509 **certificate, EVP_PKEY **key);

// Whether there is a record of that key id, or one left for it: else nothing that comes under it is kept.
bool cert_store_has_room(const uint8_t *key_id, size_t key_id_length);

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
