// Random bytes and RSA keys, from OpenSSL.
#include <openssl/bn.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <memory>

#include "platform/platform.h"

namespace {

// More bits would keep the caller waiting for longer than a call may; OpenSSL makes none of fewer. With an even
// exponent some releases of it look for a prime for ever.
constexpr int32_t kFewestBits = 512;
constexpr int32_t kMostBits = 4096;
constexpr uint64_t kLeastExponent = 3;

using Number = std::unique_ptr<BIGNUM, decltype(&BN_free)>;

Number to_number(uint64_t value) {
  uint8_t bytes[sizeof value];
  for (size_t i = 0; i < sizeof value; ++i) {
    bytes[sizeof value - 1 - i] = static_cast<uint8_t>(value >> (8 * i));
  }
  return {BN_bin2bn(bytes, sizeof bytes, nullptr), &BN_free};
}

}  // namespace

int32_t openssl_init_rng(void) {
  const bool seeded = RAND_poll() == 1 || RAND_status() == 1;
  return seeded ? 0 : -1;
}

struct rsa_st *generate_RSA_key(int32_t bits, uint64_t exponent, void *, void *) {
  if (bits < kFewestBits || bits > kMostBits || exponent < kLeastExponent || exponent % 2 == 0) {
    return nullptr;
  }
  const Number number = to_number(exponent);
  std::unique_ptr<RSA, decltype(&RSA_free)> key(RSA_new(), &RSA_free);
  if (number == nullptr || key == nullptr || RSA_generate_key_ex(key.get(), bits, number.get(), nullptr) != 1) {
    return nullptr;
  }
  return key.release();
}

int32_t get_rnd_bytes(void *buffer, size_t length) {
  if (length > 0 && buffer == nullptr) {
    return -1;
  }
  auto *next = static_cast<uint8_t *>(buffer);
  while (length > 0) {
    const size_t piece = std::min<size_t>(length, INT_MAX);
    if (RAND_bytes(next, static_cast<int>(piece)) != 1) {
      return -1;
    }
    next += piece;
    length -= piece;
  }
  return 0;
}
