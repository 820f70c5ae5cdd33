// PEM texts of certificates and private keys, for the operator's dumps. The buffer behind a text is wiped when it goes,
// because a private key is written in clear. Never blocks, never logs.
#ifndef KELVANE_CREDENTIALS_PEM_TEXT_H
#define KELVANE_CREDENTIALS_PEM_TEXT_H

#include "core/base/openssl_owners.h"

namespace kelvane {

enum class PemResult : uint8_t { kDone, kNoMemory, kWriteFailed };

class PemText {
 public:
  // Fill the text. kNoMemory when there is no buffer, kWriteFailed when the object cannot be written into it; the text
  // is then not to be read.
  PemResult write(X509 *certificate);
  PemResult write(EVP_PKEY *key);

  // The text, zero-terminated, lent until the next write.
  const char *get() const;

 private:
  BioOwner buffer_;
};

}  // namespace kelvane

#endif
