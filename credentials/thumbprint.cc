#include "credentials/thumbprint.h"

#include <openssl/evp.h>
#include <openssl/x509.h>
#include <string.h>

#include "core/base/hex.h"

namespace kelvane {

void certificate_thumbprint(const X509 *certificate, char *field, size_t size) {
  uint8_t digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  memset(field, 0, size);
  if (X509_digest(certificate, EVP_sha1(), digest, &length) == 1 && length * 2 == kThumbprintLength) {
    hex_upper(digest, length, field);
  }
}

}  // namespace kelvane
