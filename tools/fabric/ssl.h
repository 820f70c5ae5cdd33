// Owners for the OpenSSL objects the fabric uses, and the few conversions between them and bytes. Called by the
// tenant, the container and the judge. Nothing blocks; a failed OpenSSL call throws CryptoError with OpenSSL's reason.
// Never prints a key.
#ifndef KELVANE_TOOLS_FABRIC_SSL_H
#define KELVANE_TOOLS_FABRIC_SSL_H

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kelvane::fabric {

struct CryptoError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

template <auto Free>
struct Freer {
  template <typename T>
  void operator()(T *object) const {
    Free(object);
  }
};

using BioPtr = std::unique_ptr<BIO, Freer<BIO_free_all>>;
using PkeyPtr = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY_free>>;
using X509Ptr = std::unique_ptr<X509, Freer<X509_free>>;

// Makes the algorithms that the platform still uses available: 40-bit RC2 is in OpenSSL 3's legacy provider.
void load_legacy_algorithms();

// Throws CryptoError naming `what` and OpenSSL's last reason.
[[noreturn]] void throw_crypto(const std::string &what);

// `object`, or the exception when it is none.
template <typename T>
T *checked(T *object, const char *what) {
  if (object == nullptr) throw_crypto(what);
  return object;
}

// A memory BIO that reads `bytes` (which must outlive it), an empty one to write to, and what was written to one.
BioPtr reading_bio(std::string_view bytes);
BioPtr writing_bio();
std::string bio_bytes(BIO *bio);

// The certificate of a DER text; none when it is not exactly one certificate.
X509Ptr certificate_from_der(std::string_view der);

}  // namespace kelvane::fabric

#endif
