// What it costs to derive the key of a password-encrypted content, before anything is derived. Called by the container
// walk, because a container names the number of iterations itself: four bytes of it can keep the library busy for
// hours. Never blocks, never logs, cannot fail.
#ifndef KELVANE_CREDENTIALS_PBE_COST_H
#define KELVANE_CREDENTIALS_PBE_COST_H

#include <openssl/ossl_typ.h>
#include <stdint.h>

namespace kelvane {

// A number that no budget covers: an iteration count that is negative or beyond the library's own range.
inline constexpr uint64_t kPbeCostAbsurd = UINT64_MAX;

// In iterations of a hash of 64-byte blocks, 0.3 to 0.4 microseconds each: for PBKDF2 the iterations, as often as the
// key has parts of a digest's length, twice for hashes of 128-byte blocks; for scrypt (N + 6) * r * p. 0 for an
// algorithm whose parameters cannot be read: the library refuses it by itself.
uint64_t pbe_cost(const X509_ALGOR *algorithm);

}  // namespace kelvane

#endif
