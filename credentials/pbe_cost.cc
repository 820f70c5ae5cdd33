#include "credentials/pbe_cost.h"

#include <limits.h>
#include <openssl/evp.h>
#include <openssl/objects.h>

#include "core/base/openssl_owners.h"

namespace kelvane {

namespace {

using PbeParameters = Owned<PBEPARAM, PBEPARAM_free>;
using Pbes2Parameters = Owned<PBE2PARAM, PBE2PARAM_free>;
using Pbkdf2Parameters = Owned<PBKDF2PARAM, PBKDF2PARAM_free>;
using ScryptParameters = Owned<SCRYPT_PARAMS, SCRYPT_PARAMS_free>;

// The library cuts the number to an int, so that a negative one or one with more bits may come out as any other.
uint64_t count_of(const ASN1_INTEGER *number) {
  const long count = ASN1_INTEGER_get(number);
  return count < 0 || count > INT_MAX ? kPbeCostAbsurd : static_cast<uint64_t>(count);
}

uint64_t product(uint64_t a, uint64_t b) {
  uint64_t result = 0;
  return __builtin_mul_overflow(a, b, &result) ? kPbeCostAbsurd : result;
}

template <typename Parameters>
Parameters unpack(const X509_ALGOR *algorithm, const ASN1_ITEM *item) {
  using Pointer = decltype(Parameters().get());
  return Parameters(static_cast<Pointer>(ASN1_TYPE_unpack_sequence(item, algorithm->parameter)));
}

// How often an iteration computes the hash of 64-byte blocks: once for each part of the key that is as long as a
// digest, and the hashes of 128-byte blocks take twice as long. 1 for what the library does not know, and refuses.
uint64_t rounds_of(const X509_ALGOR *prf, const X509_ALGOR *encryption) {
  int digest_id = NID_sha1;
  if (prf != nullptr &&
      EVP_PBE_find(EVP_PBE_TYPE_PRF, OBJ_obj2nid(prf->algorithm), nullptr, &digest_id, nullptr) != 1) {
    return 1;
  }
  const EVP_MD *digest = EVP_get_digestbynid(digest_id);
  const EVP_CIPHER *cipher = EVP_get_cipherbyobj(encryption->algorithm);
  if (digest == nullptr || cipher == nullptr) {
    return 1;
  }
  const int parts = (EVP_CIPHER_key_length(cipher) + EVP_MD_size(digest) - 1) / EVP_MD_size(digest);
  return static_cast<uint64_t>(parts) * (EVP_MD_block_size(digest) > 64 ? 2 : 1);
}

// N * r * p for the mixing; making and hashing the r * p blocks that are mixed takes as long as six more rounds.
uint64_t cost_of_scrypt(const SCRYPT_PARAMS *scrypt) {
  const uint64_t rounds = count_of(scrypt->costParameter);
  const uint64_t blocks = product(count_of(scrypt->blockSize), count_of(scrypt->parallelizationParameter));
  return rounds != kPbeCostAbsurd ? product(rounds + 6, blocks) : kPbeCostAbsurd;
}

uint64_t cost_of_kdf(const X509_ALGOR *kdf, const X509_ALGOR *encryption) {
  if (OBJ_obj2nid(kdf->algorithm) == NID_id_scrypt) {
    const auto scrypt = unpack<ScryptParameters>(kdf, ASN1_ITEM_rptr(SCRYPT_PARAMS));
    return scrypt.present() ? cost_of_scrypt(scrypt.get()) : 0;
  }
  const auto pbkdf2 = unpack<Pbkdf2Parameters>(kdf, ASN1_ITEM_rptr(PBKDF2PARAM));
  return pbkdf2.present() ? product(count_of(pbkdf2.get()->iter), rounds_of(pbkdf2.get()->prf, encryption)) : 0;
}

}  // namespace

uint64_t pbe_cost(const X509_ALGOR *algorithm) {
  if (OBJ_obj2nid(algorithm->algorithm) == NID_pbes2) {
    const auto pbes2 = unpack<Pbes2Parameters>(algorithm, ASN1_ITEM_rptr(PBE2PARAM));
    return pbes2.present() ? cost_of_kdf(pbes2.get()->keyfunc, pbes2.get()->encryption) : 0;
  }
  const auto pbe = unpack<PbeParameters>(algorithm, ASN1_ITEM_rptr(PBEPARAM));
  return pbe.present() ? count_of(pbe.get()->iter) : 0;
}

}  // namespace kelvane
