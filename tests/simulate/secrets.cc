#include "tests/simulate/secrets.h"

#include <openssl/cms.h>
#include <openssl/pkcs12.h>
#include <openssl/pkcs7.h>
#include <openssl/sha.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "tests/fuzz/fixed_key.h"
#include "tests/simulate/wanted.h"
#include "tests/support/base64.h"

namespace simulate {

namespace {

std::string gsContainer;
std::string gsThumbprint;
std::string gsProtected[kSecrets];

void require(bool holds, const char *what) {
  if (!holds) {
    std::fprintf(stderr, "%s cannot be made\n", what);
    std::exit(2);
  }
}

std::string bytes_in(BIO *memory) {
  char *data = nullptr;
  const long length = BIO_get_mem_data(memory, &data);
  return std::string(data, static_cast<size_t>(length));
}

// The agent makes a certificate of its own at each start; what stays is the key, and with it the key's identifier.
X509 *transport_certificate() {
  X509 *made = X509_dup(fuzz::fixed_certificate());
  X509V3_CTX context;
  X509V3_set_ctx(&context, made, made, nullptr, nullptr, 0);
  char hash[] = "hash";
  X509_EXTENSION *identifier = X509V3_EXT_conf_nid(nullptr, &context, NID_subject_key_identifier, hash);
  require(identifier != nullptr && X509_add_ext(made, identifier, -1) == 1, "a key identifier");
  X509_EXTENSION_free(identifier);
  require(X509_sign(made, fuzz::fixed_key(), EVP_sha256()) > 0, "a certificate");
  // The identifier is looked for among what was read.
  unsigned char *der = nullptr;
  const int length = i2d_X509(made, &der);
  const unsigned char *from = der;
  X509 *read = d2i_X509(nullptr, &from, length);
  OPENSSL_free(der);
  X509_free(made);
  return read;
}

std::string container_bytes() {
  PKCS12 *made = PKCS12_create("", nullptr, fuzz::fixed_key(), fuzz::fixed_certificate(), nullptr,
                               NID_pbe_WithSHA1And3_Key_TripleDES_CBC, NID_pbe_WithSHA1And3_Key_TripleDES_CBC, 1, 1, 0);
  BIO *der = BIO_new(BIO_s_mem());
  require(made != nullptr && i2d_PKCS12_bio(der, made) == 1, "a container");
  std::string bytes = bytes_in(der);
  BIO_free(der);
  PKCS12_free(made);
  return bytes;
}

std::string message_to(X509 *recipient, const std::string &plain) {
  CMS_ContentInfo *message = CMS_encrypt(nullptr, nullptr, EVP_aes_256_cbc(), CMS_BINARY | CMS_PARTIAL);
  BIO *content = BIO_new_mem_buf(plain.data(), static_cast<int>(plain.size()));
  BIO *der = BIO_new(BIO_s_mem());
  require(message != nullptr && CMS_add1_recipient_cert(message, recipient, CMS_USE_KEYID) != nullptr &&
              CMS_final(message, content, nullptr, CMS_BINARY) == 1 && i2d_CMS_bio(der, message) == 1,
          "a message");
  std::string bytes = bytes_in(der);
  BIO_free(der);
  BIO_free(content);
  CMS_ContentInfo_free(message);
  return bytes;
}

std::string sealed(const std::string &plain) {
  STACK_OF(X509) *recipients = sk_X509_new_null();
  sk_X509_push(recipients, fuzz::fixed_certificate());
  BIO *content = BIO_new_mem_buf(plain.data(), static_cast<int>(plain.size()));
  PKCS7 *message = PKCS7_encrypt(recipients, content, EVP_aes_256_cbc(), PKCS7_BINARY);
  BIO *der = BIO_new(BIO_s_mem());
  require(message != nullptr && i2d_PKCS7_bio(der, message) == 1, "a sealed text");
  std::string bytes = bytes_in(der);
  BIO_free(der);
  PKCS7_free(message);
  BIO_free(content);
  sk_X509_free(recipients);
  return bytes;
}

std::string settings_text(int32_t number) {
  return "{\"commandToExecute\": \"" + hub_command(kSecretOperation, secret_appliance(number)) +
         "\", \"username\": \"admin\", \"password\": \"" + secret_password(number) + "\"}";
}

std::string thumbprint() {
  unsigned char digest[SHA_DIGEST_LENGTH];
  unsigned length = 0;
  require(X509_digest(fuzz::fixed_certificate(), EVP_sha1(), digest, &length) == 1, "a thumbprint");
  std::string text;
  for (const unsigned char byte : digest) {
    char two[3];
    std::snprintf(two, sizeof two, "%02X", byte);
    text += two;
  }
  return text;
}

// As the agent will: what OpenSSL loads for it is then there for every life.
void open_all_once(X509 *certificate, const std::string &container, const std::string &settings) {
  EVP_PKEY *key = fuzz::fixed_key();
  BIO *in = BIO_new_mem_buf(container.data(), static_cast<int>(container.size()));
  CMS_ContentInfo *message = d2i_CMS_bio(in, nullptr);
  BIO *out = BIO_new(BIO_s_mem());
  require(CMS_decrypt_set1_pkey(message, key, certificate) == 1 &&
              CMS_decrypt(message, nullptr, nullptr, nullptr, out, 0) == 1,
          "a message that can be read");
  PKCS12 *inside = d2i_PKCS12_bio(out, nullptr);
  EVP_PKEY *found = nullptr;
  X509 *with = nullptr;
  require(inside != nullptr && PKCS12_parse(inside, "", &found, &with, nullptr) == 1, "a container that can be read");
  BIO *sealed_in = BIO_new_mem_buf(settings.data(), static_cast<int>(settings.size()));
  PKCS7 *opened = d2i_PKCS7_bio(sealed_in, nullptr);
  BIO *plain = BIO_new(BIO_s_mem());
  require(PKCS7_decrypt(opened, found, with, plain, PKCS7_BINARY) == 1, "a sealed text that can be read");
  BIO_free(plain);
  PKCS7_free(opened);
  BIO_free(sealed_in);
  X509_free(with);
  EVP_PKEY_free(found);
  PKCS12_free(inside);
  BIO_free(out);
  CMS_ContentInfo_free(message);
  BIO_free(in);
}

}  // namespace

void secrets_make() {
  X509 *transport = transport_certificate();
  const std::string container = message_to(transport, container_bytes());
  gsContainer = support::base64(container);
  gsThumbprint = thumbprint();
  for (int32_t i = 0; i < kSecrets; i++) {
    const std::string bytes = sealed(settings_text(i));
    gsProtected[i] = support::base64(bytes);
    if (i == 0) {
      open_all_once(transport, container, bytes);
    }
  }
  X509_free(transport);
}

const std::string &secrets_container() {
  return gsContainer;
}

const std::string &secrets_thumbprint() {
  return gsThumbprint;
}

const std::string &secrets_settings(int32_t secret) {
  return gsProtected[secret];
}

std::string secret_password(int32_t secret) {
  return "sealed-" + std::to_string(secret);
}

std::string secret_appliance(int32_t secret) {
  return "secret-" + std::to_string(secret);
}

}  // namespace simulate
