// The unwrapping of the platform's certificates: a CMS message encrypted to the transport certificate, in it a PKCS#12
// container, which goes into the certificate store and the SSH public key store. Called by both protocols, on the main
// thread; blocks for as long as the decryption takes, milliseconds for what the platform sends. Logs and prints
// nothing: the result says at which step it ended, and OpenSSL's error queue is left for the caller. The decrypted
// bytes are wiped in every case; the parsed copies of them are the library's, which wipes the private keys among them
// and frees the rest.
//
// A message that is encrypted to another key, or tampered with, may decrypt to random bytes without an error: the
// library hides, deliberately, whether the content key was right, so that nobody can use the agent to learn the
// transport key. Such bytes are no container and end as kDecrypt or kContainer; the stores are untouched until a
// container has been read whole.
#ifndef KELVANE_CREDENTIALS_CMS_CONTAINER_H
#define KELVANE_CREDENTIALS_CMS_CONTAINER_H

#include <openssl/ossl_typ.h>
#include <stddef.h>
#include <stdint.h>

namespace kelvane {

// Bytes of a PEM text. Twenty certificates with keys of 2048 bits, which is what the store has room for, come to 55 KB;
// the library decrypts a megabyte in 50 ms.
inline constexpr size_t kCmsMaxText = size_t{256} * 1024;

enum class CmsContainerResult : uint8_t {
  kDone,           // the stores hold what the container held up to its first broken place
  kCmsUnreadable,  // no CMS message in PEM form, or a longer one than kCmsMaxText
  kRecipient,      // not a message for this certificate, or there is no key or certificate
  kDecrypt,        // the content cannot be decrypted, or memory ran out
  kContainer,      // the content is no PKCS#12 container
};

// Processes the PEM text of a CMS message, read from a BIO, with the transport key and certificate, which may be null.
// All three stay the caller's. For every result but kDone both stores are as they were.
CmsContainerResult CmsContainerProcess(BIO *pem, EVP_PKEY *key, X509 *certificate);

}  // namespace kelvane

#endif
