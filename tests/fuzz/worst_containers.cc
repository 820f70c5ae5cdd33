#include "tests/fuzz/worst_containers.h"

#include <openssl/cms.h>
#include <openssl/objects.h>
#include <openssl/pkcs12.h>

#include <vector>

#include "core/base/json.h"
#include "credentials/cms_container.h"
#include "credentials/transport_cert.h"
#include "extensions/handler_settings.h"
#include "tests/fuzz/fixed_key.h"
#include "tests/fuzz/world.h"
#include "tests/fuzz/worst_seeds.h"
#include "tests/support/base64.h"
#include "tools/fabric/container.h"

namespace fuzz {

namespace {

using namespace kelvane::fabric;

X509 *transport_certificate() {
  kelvane::TransportCert transport = {};
  kelvane::TransportCertGet(&transport);
  return transport.certificate;
}

std::string bytes_in(BIO *bio) {
  char *data = nullptr;
  const long length = BIO_get_mem_data(bio, &data);
  return std::string(data, static_cast<size_t>(length));
}

const Identity &identity() {
  static const Identity made = make_identity({.name = "a", .common_name = "a"});
  return made;
}

// So many certificates, all the same one, each with a key id of its own.
std::string container_of(size_t certificates, bool with_keys) {
  const Identity &with = identity();
  static const Identity without = make_identity({.name = "b", .common_name = "b", .private_key = false});
  return make_container(std::vector<const Identity *>(certificates, with_keys ? &with : &without), {});
}

// One certificate with its key, each behind so many iterations of this encryption.
std::string container_behind(int nid, int iterations) {
  PKCS12 *made = PKCS12_create("", nullptr, identity().key.get(), identity().certificate.get(), nullptr, nid, nid,
                               iterations, -1, 0);
  BIO *der = BIO_new(BIO_s_mem());
  require(made != nullptr && i2d_PKCS12_bio(der, made) == 1, "there is a container");
  const std::string bytes = bytes_in(der);
  BIO_free(der);
  PKCS12_free(made);
  return bytes;
}

// A message to as many others as find room, and to the transport certificate last.
std::string message_to_many() {
  STACK_OF(X509) *recipients = sk_X509_new_null();
  for (size_t i = 0; i < kelvane::kCmsMaxText * 3 / 4 / 360; i++) {
    sk_X509_push(recipients, identity().certificate.get());
  }
  sk_X509_push(recipients, transport_certificate());
  BIO *content = BIO_new_mem_buf("none", 4);
  CMS_ContentInfo *message = CMS_encrypt(recipients, content, EVP_des_ede3_cbc(), CMS_BINARY);
  BIO *der = BIO_new(BIO_s_mem());
  require(message != nullptr && i2d_CMS_bio(der, message) == 1, "there is a message");
  const std::string bytes = bytes_in(der);
  BIO_free(der);
  CMS_ContentInfo_free(message);
  BIO_free(content);
  sk_X509_free(recipients);
  return bytes;
}

std::string certificates_document_with(const std::string &message) {
  return "<a><Data>\n" + support::in_lines(support::base64(message)) + "</Data></a>";
}

std::string certificates_document_of(const std::string &content) {
  return certificates_document_with(make_envelope(content, transport_certificate()));
}

std::string certificate_document_of(const std::string &content) {
  return "{\"certificateData\":\"" + support::base64(make_envelope(content, transport_certificate())) + "\"}";
}

// Bytes that make so many of base64 text in lines, with room for the message around them.
size_t content_for(uint64_t text) {
  return static_cast<size_t>(text / 65 * 64 / 4 * 3 - 2000);
}

// Secret settings with as many members as allowed, and public ones with as many as are left to the document.
std::string sealed_members(const std::string &secret) {
  return R"({"runtimeSettings":[{"handlerSettings":{"protectedSettingsCertThumbprint":")" +
         thumbprint_of(fixed_certificate()) + R"(","protectedSettings":")" +
         protect_settings(secret, fixed_certificate()) + R"(","publicSettings":)" +
         members(kelvane::kJsonMaxValues - 10, "0." + std::string(80, '7')) + "}}]}";
}

}  // namespace

std::map<std::string, std::string> worst_containers() {
  const std::string full_store = container_of(20, true);
  const std::string long_settings = "{\"a\":\"" + std::string(content_for(kelvane::kProtectedMaxText), 'x') + "\"}";
  const std::string many_members = worst_seeds().at("vm_access/many_members");
  return {
      {"pkcs12/full_store", full_store},
      {"pkcs12/many_certificates", container_of(195, false)},
      {"pkcs12/many_iterations", container_behind(NID_pbe_WithSHA1And3_Key_TripleDES_CBC, 54000)},
      {"pkcs12/many_iterations_of_two", container_behind(NID_aes_256_cbc, 54000)},
      {"certificates/full_store", certificates_document_of(full_store)},
      {"certificates/long_content", certificates_document_of(std::string(content_for(kelvane::kCmsMaxText), 'x'))},
      {"certificates/many_recipients", certificates_document_with(message_to_many())},
      {"metadata_certificates/full_store", certificate_document_of(full_store)},
      {"protected_settings/long_settings", "t" + protect_settings(long_settings, transport_certificate())},
      {"protected_settings/many_members", "t" + protect_settings(many_members, transport_certificate())},
      {"runtime_settings/sealed_members", sealed_members(many_members)},
  };
}

}  // namespace fuzz
