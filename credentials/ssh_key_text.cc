#include "credentials/ssh_key_text.h"

#include <stdlib.h>
#include <string.h>

#include "core/base/openssl_owners.h"
#include "credentials/base64_text.h"
#include "credentials/thumbprint.h"

namespace kelvane {

namespace {

// The blob begins with its algorithm name, as every string in it behind a big-endian length of 4 bytes.
constexpr uint8_t kBlobHead[] = {0, 0, 0, 7, 's', 's', 'h', '-', 'r', 's', 'a'};

// Writes the blob, exponent first, and gives its length; only the length when blob is null.
size_t write_blob(const BIGNUM *exponent, const BIGNUM *modulus, uint8_t *blob) {
  size_t length = sizeof(kBlobHead);
  if (blob != nullptr) {
    memcpy(blob, kBlobHead, sizeof(kBlobHead));
  }
  const BIGNUM *const numbers[] = {exponent, modulus};
  for (const BIGNUM *number : numbers) {
    // The library's MPI form is the protocol's: a length of 4 bytes, then the magnitude with its sign byte.
    length += static_cast<size_t>(BN_bn2mpi(number, blob != nullptr ? blob + length : nullptr));
  }
  return length;
}

Text key_text_of(const RSA *rsa) {
  Text text;
  const BIGNUM *modulus = nullptr;
  const BIGNUM *exponent = nullptr;
  RSA_get0_key(rsa, &modulus, &exponent, nullptr);
  if (modulus == nullptr || exponent == nullptr) {
    return text;
  }
  uint8_t *blob = static_cast<uint8_t *>(malloc(write_blob(exponent, modulus, nullptr)));
  if (blob != nullptr) {
    base64_text(&text, "ssh-rsa ", blob, write_blob(exponent, modulus, blob));
    free(blob);
  }
  return text;
}

// The certificate's RSA key, lent; null for any other kind, RSA-PSS included.
const RSA *rsa_key_of(X509 *certificate) {
  EVP_PKEY *key = X509_get0_pubkey(certificate);
  const bool is_rsa = key != nullptr && EVP_PKEY_base_id(key) == EVP_PKEY_RSA;
  return is_rsa ? EVP_PKEY_get0_RSA(key) : nullptr;
}

}  // namespace

void makeSSHKey(X509 *certificate, int32_t (*callback)(const char *, const char *, int32_t), Text *key_text) {
  char thumbprint[128];
  certificate_thumbprint(certificate, thumbprint);
  const RSA *rsa = rsa_key_of(certificate);
  if (rsa == nullptr) {
    return;
  }
  Text text = key_text_of(rsa);
  if (!text.present()) {
    return;
  }
  if (callback != nullptr) {
    callback(text.get(), thumbprint, 0);
  }
  if (key_text != nullptr) {
    *key_text = static_cast<Text &&>(text);
  }
}

}  // namespace kelvane
