#include "tests/unit/protocol/tenant.h"

#include <openssl/pem.h>

#include "core/base/openssl_owners.h"
#include "credentials/cert_store.h"

namespace tenant {

namespace {

using support::openssl;

void make_certificate(const std::string &key, const std::string &certificate, const std::string &name) {
  openssl({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", key, "-out", certificate, "-days", "2", "-subj",
           "/CN=" + name});
}

struct Tenant {
  support::TempDir folder;
  std::string container;
  std::string thumbprint;

  Tenant() {
    const std::string key = folder.file("tenant.key");
    const std::string certificate = folder.file("tenant.crt");
    make_certificate(key, certificate, "tenant");
    openssl({"pkcs12", "-export", "-inkey", key, "-in", certificate, "-out", folder.file("tenant.pfx"), "-passout",
             "pass:"});
    container = support::read_file(folder.file("tenant.pfx"));
    for (const char character : openssl({"x509", "-in", certificate, "-noout", "-fingerprint", "-sha1"})) {
      thumbprint += character == ':' ? "" : std::string(1, character);
    }
    thumbprint = thumbprint.substr(thumbprint.find('=') + 1, 40);
  }
};

const Tenant &the_tenant() {
  static Tenant one;
  return one;
}

}  // namespace

const std::string &container() {
  return the_tenant().container;
}

const std::string &thumbprint() {
  return the_tenant().thumbprint;
}

bool stored() {
  X509 *certificate = nullptr;
  EVP_PKEY *key = nullptr;
  return kelvane::CertStoreFind(thumbprint().c_str(), &certificate, &key) == 1 && certificate != nullptr &&
         key != nullptr;
}

kelvane::TransportCert transport() {
  kelvane::TransportCert lent = {};
  kelvane::TransportCertGet(&lent);
  return lent;
}

std::string recipient(const support::TempDir &folder) {
  const kelvane::BioOwner bio(BIO_new(BIO_s_mem()));
  PEM_write_bio_X509(bio.get(), transport().certificate);
  char *bytes = nullptr;
  const long size = BIO_get_mem_data(bio.get(), &bytes);
  return folder.write("recipient.pem", std::string(bytes, static_cast<size_t>(size)));
}

std::string other_recipient(const support::TempDir &folder) {
  make_certificate(folder.file("other.key"), folder.file("other.crt"), "other");
  return folder.file("other.crt");
}

std::string wrap(const support::TempDir &folder, const std::string &bytes, const std::string &certificate) {
  const std::string plain = folder.write("plain", bytes);
  openssl({"cms", "-encrypt", "-binary", "-in", plain, "-outform", "DER", "-des3", "-out", folder.file("cms.der"),
           certificate});
  return folder.file("cms.der");
}

}  // namespace tenant
