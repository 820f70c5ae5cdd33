#include "tests/fuzz/fixed_key.h"

#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/sha.h>

#include <cstdint>
#include <string>

#include "credentials/cert_store.h"
#include "tests/fuzz/world.h"

namespace fuzz {

namespace {

constexpr unsigned long kExponent = 65537;

// The first prime of 512 bits at or above the text's digest, with both top bits set, that fits the exponent.
BIGNUM *prime_from(const std::string &text, BN_CTX *context) {
  unsigned char digest[SHA512_DIGEST_LENGTH];
  SHA512(reinterpret_cast<const unsigned char *>(text.data()), text.size(), digest);
  BIGNUM *prime = BN_bin2bn(digest, sizeof digest, nullptr);
  for (const int bit : {511, 510, 0}) {
    BN_set_bit(prime, bit);
  }
  while (BN_mod_word(prime, kExponent) == 1 || BN_is_prime_fasttest_ex(prime, 20, context, 1, nullptr) != 1) {
    BN_add_word(prime, 2);
  }
  return prime;
}

}  // namespace

RSA *fixed_rsa_key() {
  BN_CTX *context = BN_CTX_new();
  BIGNUM *p = prime_from("kelvane fuzz, first prime", context);
  BIGNUM *q = prime_from("kelvane fuzz, second prime", context);
  BIGNUM *n = BN_new(), *e = BN_new(), *phi = BN_new(), *p1 = BN_dup(p), *q1 = BN_dup(q);
  BN_mul(n, p, q, context);
  BN_set_word(e, kExponent);
  BN_sub_word(p1, 1);
  BN_sub_word(q1, 1);
  BN_mul(phi, p1, q1, context);
  BIGNUM *d = BN_mod_inverse(nullptr, e, phi, context);
  BIGNUM *dp = BN_new(), *dq = BN_new(), *inverse = BN_mod_inverse(nullptr, q, p, context);
  BN_mod(dp, d, p1, context);
  BN_mod(dq, d, q1, context);
  for (BIGNUM *number : {phi, p1, q1}) {
    BN_free(number);
  }
  BN_CTX_free(context);
  RSA *key = RSA_new();
  require(RSA_set0_key(key, n, e, d) == 1 && RSA_set0_factors(key, p, q) == 1 &&
              RSA_set0_crt_params(key, dp, dq, inverse) == 1 && RSA_check_key(key) == 1,
          "the fixed numbers are a key");
  return key;
}

EVP_PKEY *fixed_key() {
  static EVP_PKEY *const key = [] {
    EVP_PKEY *made = EVP_PKEY_new();
    require(EVP_PKEY_assign_RSA(made, fixed_rsa_key()) == 1, "there is a key");
    return made;
  }();
  return key;
}

X509 *fixed_certificate() {
  static X509 *const certificate = [] {
    X509 *made = X509_new();
    X509_NAME *subject = X509_get_subject_name(made);
    const auto *name = reinterpret_cast<const unsigned char *>("kelvane fuzz");
    require(X509_set_version(made, 2) == 1 && ASN1_INTEGER_set(X509_get_serialNumber(made), 7) == 1 &&
                ASN1_TIME_set_string(X509_getm_notBefore(made), "20200101000000Z") == 1 &&
                ASN1_TIME_set_string(X509_getm_notAfter(made), "20600101000000Z") == 1 &&
                X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC, name, -1, -1, 0) == 1 &&
                X509_set_issuer_name(made, subject) == 1 && X509_set_pubkey(made, fixed_key()) == 1 &&
                X509_sign(made, fixed_key(), EVP_sha256()) > 0,
            "there is a certificate");
    return made;
  }();
  return certificate;
}

bool store_fixed_certificate() {
  static const uint8_t kKeyId[] = {1};
  X509_up_ref(fixed_certificate());
  EVP_PKEY_up_ref(fixed_key());
  kelvane::CertStoreCert(kKeyId, sizeof kKeyId, fixed_certificate());
  kelvane::CertStoreKey(kKeyId, sizeof kKeyId, fixed_key());
  return true;
}

}  // namespace fuzz
