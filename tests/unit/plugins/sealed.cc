#include "tests/unit/plugins/sealed.h"

#include <openssl/pkcs7.h>

#include <stdexcept>

#include "credentials/cert_store.h"
#include "tests/support/base64.h"
#include "tests/support/files.h"

namespace sealed {

const containers::Certificate &certificate(size_t number) {
  static std::vector<containers::Certificate> made;
  while (made.size() <= number) {
    made.push_back(containers::certificate(containers::rsa_key(made.size()), "tenant " + std::to_string(made.size()),
                                           static_cast<long>(made.size()) + 1));
  }
  return made[number];
}

void put_into_store(size_t number, bool with_certificate, bool with_key) {
  const uint8_t key_id[] = {static_cast<uint8_t>(number), 1};
  if (with_certificate) {
    X509_up_ref(certificate(number).get());
    kelvane::CertStoreCert(key_id, sizeof key_id, certificate(number).get());
  }
  if (with_key) {
    EVP_PKEY_up_ref(containers::rsa_key(number).get());
    kelvane::CertStoreKey(key_id, sizeof key_id, containers::rsa_key(number).get());
  }
}

void put_into_store(size_t number) {
  put_into_store(number, true, true);
}

std::string seal(const std::string &plain, X509 *certificate) {
  STACK_OF(X509) *recipients = sk_X509_new_null();
  sk_X509_push(recipients, certificate);
  BIO *in = BIO_new_mem_buf(plain.data(), static_cast<int>(plain.size()));
  PKCS7 *message = PKCS7_encrypt(recipients, in, EVP_aes_256_cbc(), PKCS7_BINARY);
  BIO_free(in);
  sk_X509_free(recipients);
  unsigned char *der = nullptr;
  const int length = message != nullptr ? i2d_PKCS7(message, &der) : -1;
  PKCS7_free(message);
  if (length <= 0) {
    throw std::runtime_error("nothing was encrypted");
  }
  const std::string bytes(reinterpret_cast<char *>(der), static_cast<size_t>(length));
  OPENSSL_free(der);
  return support::base64(bytes);
}

std::string seal(const std::string &plain, size_t number) {
  return seal(plain, certificate(number).get());
}

std::string seal_by_tool(const std::string &plain, const std::string &certificate_pem, const std::string &command) {
  const support::TempDir folder;
  const std::string path = folder.write("certificate.pem", certificate_pem);
  return support::base64(support::openssl({command, "-encrypt", "-binary", "-outform", "DER", "-aes256", path}, plain));
}

}  // namespace sealed
