// The thumbprint of a certificate: the SHA-1 of its DER encoding as 40 uppercase hexadecimal characters. It names a
// certificate in extension settings and in the provisioning document. Never blocks, never logs.
#ifndef KELVANE_CREDENTIALS_THUMBPRINT_H
#define KELVANE_CREDENTIALS_THUMBPRINT_H

#include <openssl/ossl_typ.h>
#include <stddef.h>

namespace kelvane {

inline constexpr size_t kThumbprintLength = 40;

// Fills a field of size bytes, more than kThumbprintLength, with the thumbprint and zeros behind it; with zeros alone
// when the library cannot compute the digest.
void certificate_thumbprint(const X509 *certificate, char *field, size_t size);

template <size_t Size>
void certificate_thumbprint(const X509 *certificate, char (&field)[Size]) {
  static_assert(Size > kThumbprintLength, "the field holds a thumbprint and its terminator");
  certificate_thumbprint(certificate, field, Size);
}

}  // namespace kelvane

#endif
