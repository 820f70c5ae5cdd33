#include "credentials/cert_store.h"

#include <openssl/evp.h>
#include <openssl/x509.h>
#include <stdlib.h>
#include <string.h>

#include "core/base/openssl_owners.h"
#include "credentials/pem_text.h"
#include "credentials/thumbprint.h"
#include "platform/platform.h"

namespace kelvane {

namespace {

constexpr int32_t kCapacity = 20;

// The pointers are owned. They are plain because the records live as long as the process: an owner would free them at
// its exit, after the library has shut itself down.
struct CertRecord {
  char thumbprint[136];  // empty while there is no certificate
  uint8_t *key_id;
  uint64_t key_id_length;
  X509 *certificate;
  EVP_PKEY *key;
};

struct CertStore {
  CertRecord records[kCapacity];
  int32_t count;
};

CertStore gsCertStore;

bool has_key_id(const CertRecord *record, const uint8_t *key_id, size_t length) {
  return record->key_id_length == length && memcmp(record->key_id, key_id, length) == 0;
}

CertRecord *find_record(const uint8_t *key_id, size_t length) {
  for (int32_t i = 0; i < gsCertStore.count; i++) {
    if (has_key_id(&gsCertStore.records[i], key_id, length)) {
      return &gsCertStore.records[i];
    }
  }
  return nullptr;
}

CertRecord *append_record(const uint8_t *key_id, size_t length) {
  if (gsCertStore.count < 0 || gsCertStore.count >= kCapacity) {
    return nullptr;
  }
  uint8_t *copy = static_cast<uint8_t *>(malloc(length));
  if (copy == nullptr) {
    return nullptr;
  }
  memcpy(copy, key_id, length);
  CertRecord *record = &gsCertStore.records[gsCertStore.count++];
  record->key_id = copy;
  record->key_id_length = length;
  return record;
}

// The record of a key id, made if new; null when the store is full or memory ran out.
CertRecord *CertStoreSlot(const uint8_t *key_id, size_t length) {
  CertRecord *record = find_record(key_id, length);
  return record != nullptr ? record : append_record(key_id, length);
}

void dump_certificate(int32_t i, X509 *certificate) {
  PemText pem;
  if (pem.write(certificate) == PemResult::kDone) {
    message("[%d] Certificate\n%s\n", i, pem.get());
  } else {
    message("[%d] Certificate bio failed\n", i);
  }
}

// Unlike a certificate's, a key's missing buffer is passed over in silence.
void dump_key(int32_t i, EVP_PKEY *key) {
  PemText pem;
  const PemResult result = pem.write(key);
  if (result == PemResult::kDone) {
    message("[%d] Key\n%s\n", i, pem.get());
  } else if (result == PemResult::kWriteFailed) {
    message("[%d] Certificate Key bio failed\n", i);
  }
}

void dump_record(int32_t i, const CertRecord *record) {
  message("[%d] Fingerprint %s\n", i, record->thumbprint);
  message("[%d] Cert %d Key %d\n", i, record->certificate != nullptr ? 1 : 0, record->key != nullptr ? 1 : 0);
  if (record->certificate != nullptr) {
    dump_certificate(i, record->certificate);
  }
  if (record->key != nullptr) {
    dump_key(i, record->key);
  }
}

}  // namespace

int32_t CertStoreFind(const char *thumbprint, X509 **certificate, EVP_PKEY **key) {
  for (int32_t i = 0; i < gsCertStore.count; i++) {
    const CertRecord *record = &gsCertStore.records[i];
    if (strcmp(record->thumbprint, thumbprint) == 0) {
      *certificate = record->certificate;
      *key = record->key;
      return 1;
    }
  }
  return 0;
}

bool cert_store_has_room(const uint8_t *key_id, size_t key_id_length) {
  return gsCertStore.count < kCapacity || find_record(key_id, key_id_length) != nullptr;
}

void CertStoreCert(const uint8_t *key_id, size_t key_id_length, X509 *certificate) {
  X509Owner owner(certificate);
  CertRecord *record = CertStoreSlot(key_id, key_id_length);
  if (record != nullptr && record->certificate == nullptr) {
    certificate_thumbprint(certificate, record->thumbprint);
    record->certificate = owner.release();
  }
}

void CertStoreKey(const uint8_t *key_id, size_t key_id_length, EVP_PKEY *key) {
  EvpKeyOwner owner(key);
  CertRecord *record = CertStoreSlot(key_id, key_id_length);
  if (record != nullptr && record->key == nullptr) {
    record->key = owner.release();
  }
}

void CertStoreClear() {
  for (int32_t i = 0; i < gsCertStore.count; i++) {
    CertRecord *record = &gsCertStore.records[i];
    free(record->key_id);
    X509_free(record->certificate);
    EVP_PKEY_free(record->key);
  }
  gsCertStore = {};
}

void CertStoreDump() {
  for (int32_t i = 0; i < gsCertStore.count; i++) {
    dump_record(i, &gsCertStore.records[i]);
  }
  message("End Dump %d certificate(s)\n", gsCertStore.count);
}

}  // namespace kelvane
