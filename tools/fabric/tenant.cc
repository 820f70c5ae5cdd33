#include "tools/fabric/tenant.h"

#include <openssl/bn.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <array>

#include "tools/fabric/bytes.h"

namespace kelvane::fabric {

namespace {

using PkeyCtxPtr = std::unique_ptr<EVP_PKEY_CTX, Freer<EVP_PKEY_CTX_free>>;

PkeyPtr make_key(int bits) {
  PkeyCtxPtr context(checked(EVP_PKEY_CTX_new_id(EVP_PKEY_RSA, nullptr), "key context"));
  EVP_PKEY *key = nullptr;
  if (EVP_PKEY_keygen_init(context.get()) <= 0 || EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), bits) <= 0 ||
      EVP_PKEY_keygen(context.get(), &key) <= 0)
    throw_crypto("RSA key");
  return PkeyPtr(key);
}

X509Ptr make_certificate(EVP_PKEY *key, const std::string &common_name) {
  static long serial = 1000;
  X509Ptr certificate(checked(X509_new(), "certificate"));
  X509 *x = certificate.get();
  X509_NAME *subject = X509_get_subject_name(x);
  const auto *name = reinterpret_cast<const unsigned char *>(common_name.data());
  bool made = X509_set_version(x, 2) == 1 && ASN1_INTEGER_set(X509_get_serialNumber(x), ++serial) == 1 &&
              X509_gmtime_adj(X509_getm_notBefore(x), -3600) != nullptr &&
              X509_gmtime_adj(X509_getm_notAfter(x), 10L * 365 * 86400) != nullptr && X509_set_pubkey(x, key) == 1 &&
              X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8, name, static_cast<int>(common_name.size()), -1,
                                         0) == 1 &&
              X509_set_issuer_name(x, subject) == 1 && X509_sign(x, key, EVP_sha256()) > 0;
  if (!made) throw_crypto("certificate");
  return certificate;
}

// One field of the SSH wire format: a 32-bit length, most significant byte first, and the bytes.
void append_field(std::string &out, std::string_view field) {
  for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>(field.size() >> shift & 0xFF);
  out += field;
}

// A positive number as the SSH wire format wants it: a zero byte in front when the top bit is set.
std::string wire_number(const BIGNUM *number) {
  std::string bytes(static_cast<size_t>(BN_num_bytes(number)), '\0');
  BN_bn2bin(number, reinterpret_cast<unsigned char *>(bytes.data()));
  return BN_num_bits(number) % 8 == 0 ? std::string(1, '\0') + bytes : bytes;
}

}  // namespace

std::string thumbprint_of(X509 *certificate) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned length = 0;
  if (X509_digest(certificate, EVP_sha1(), digest.data(), &length) != 1) throw_crypto("thumbprint");
  return hex_upper({reinterpret_cast<const char *>(digest.data()), length});
}

Identity make_identity(const CertificateSpec &spec) {
  Identity identity;
  identity.spec = spec;
  identity.key = make_key(static_cast<int>(spec.bits));
  identity.certificate = make_certificate(identity.key.get(), spec.common_name);
  identity.thumbprint = thumbprint_of(identity.certificate.get());
  return identity;
}

Tenant::Tenant(const TenantSpec &spec) {
  for (const CertificateSpec &certificate : spec.certificates) all_.push_back(make_identity(certificate));
}

const Identity &Tenant::named(const std::string &name) const {
  for (const Identity &identity : all_)
    if (identity.spec.name == name) return identity;
  throw ScenarioError("no certificate is named \"" + name + "\"");
}

std::vector<const Identity *> Tenant::chosen(const std::optional<std::vector<std::string>> &names) const {
  std::vector<const Identity *> out;
  if (names) {
    for (const std::string &name : *names) out.push_back(&named(name));
  } else {
    for (const Identity &identity : all_) out.push_back(&identity);
  }
  return out;
}

std::string certificate_pem(const Identity &identity) {
  BioPtr bio = writing_bio();
  if (PEM_write_bio_X509(bio.get(), identity.certificate.get()) != 1) throw_crypto("certificate as PEM");
  return bio_bytes(bio.get());
}

std::string key_pem(const Identity &identity) {
  BioPtr bio = writing_bio();
  if (PEM_write_bio_PrivateKey(bio.get(), identity.key.get(), nullptr, nullptr, 0, nullptr, nullptr) != 1)
    throw_crypto("key as PEM");
  return bio_bytes(bio.get());
}

std::string ssh_rsa_line(const Identity &identity) {
  const RSA *rsa = checked(EVP_PKEY_get0_RSA(identity.key.get()), "RSA key");
  std::string blob;
  append_field(blob, "ssh-rsa");
  append_field(blob, wire_number(RSA_get0_e(rsa)));
  append_field(blob, wire_number(RSA_get0_n(rsa)));
  return "ssh-rsa " + base64_encode(blob) + " " + identity.spec.name;
}

}  // namespace kelvane::fabric
