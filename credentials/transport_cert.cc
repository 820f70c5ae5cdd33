#include "credentials/transport_cert.h"

#include <limits.h>
#include <stdlib.h>

#include "core/base/openssl_owners.h"
#include "core/base/text.h"
#include "credentials/base64_text.h"
#include "credentials/pem_text.h"
#include "platform/platform.h"

namespace kelvane {

namespace {

constexpr int32_t kKeyBits = 2048;
constexpr uint64_t kKeyExponent = 65537;
constexpr long kLifetimeSeconds = 31536000;  // 365 days
constexpr long kVersion3 = 2;                // as the field counts

// The pointers are owned. They are plain because the record lives as long as the process: an owner would free them at
// its exit, after the library has shut itself down.
TransportCert gsTransportCert;

struct ExtensionRow {
  int nid;
  const char *value;
};

// In the order in which they stand in the certificate: the authority's key id is read from the subject's.
constexpr ExtensionRow kExtensions[] = {
    {.nid = NID_subject_key_identifier, .value = "hash"},
    {.nid = NID_authority_key_identifier, .value = "keyid:always"},
    {.nid = NID_basic_constraints, .value = "CA:TRUE"},
};

EvpKeyOwner make_key() {
  EvpKeyOwner key(EVP_PKEY_new());
  RsaOwner rsa(generate_RSA_key(kKeyBits, kKeyExponent, nullptr, nullptr));
  if (!key.present() || !rsa.present() || EVP_PKEY_assign_RSA(key.get(), rsa.get()) != 1) {
    return EvpKeyOwner();
  }
  rsa.release();
  return key;
}

bool set_serial(X509 *certificate) {
  uint64_t random = 0;
  if (get_rnd_bytes(&random, sizeof(random)) != 0) {
    return false;
  }
  // Without its top bit: a serial number is never negative.
  const long serial = static_cast<long>(random & LONG_MAX);
  return ASN1_INTEGER_set(X509_get_serialNumber(certificate), serial) == 1;
}

bool set_validity(X509 *certificate) {
  return X509_gmtime_adj(X509_getm_notBefore(certificate), 0) != nullptr &&
         X509_gmtime_adj(X509_getm_notAfter(certificate), kLifetimeSeconds) != nullptr;
}

bool set_names(X509 *certificate) {
  X509_NAME *subject = X509_get_subject_name(certificate);
  const unsigned char *name = reinterpret_cast<const unsigned char *>("LinuxTransport");
  return X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC, name, -1, -1, 0) == 1 &&
         X509_set_issuer_name(certificate, subject) == 1;
}

bool add_extensions(X509 *certificate) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  for (const ExtensionRow &row : kExtensions) {
    const X509ExtensionOwner extension(X509V3_EXT_conf_nid(nullptr, &context, row.nid, row.value));
    if (!extension.present() || X509_add_ext(certificate, extension.get(), -1) != 1) {
      return false;
    }
  }
  return true;
}

X509Owner make_certificate(EVP_PKEY *key) {
  X509Owner certificate(X509_new());
  X509 *x509 = certificate.get();
  if (x509 == nullptr || X509_set_version(x509, kVersion3) != 1 || !set_serial(x509) || !set_validity(x509) ||
      X509_set_pubkey(x509, key) != 1 || !set_names(x509) || !add_extensions(x509) ||
      X509_sign(x509, key, EVP_sha1()) <= 0) {
    return X509Owner();
  }
  return certificate;
}

// Absent when it cannot be made.
Text encode(X509 *certificate) {
  Text encoded;
  unsigned char *bytes = nullptr;
  const int length = i2d_X509(certificate, &bytes);
  const OpensslBytesOwner der(bytes);
  if (length > 0) {
    base64_text(&encoded, "", der.get(), static_cast<size_t>(length));
  }
  return encoded;
}

}  // namespace

int32_t TransportCertMake() {
  TransportCertCleanup();
  EvpKeyOwner key = make_key();
  if (!key.present()) {
    return -1;
  }
  X509Owner certificate = make_certificate(key.get());
  if (!certificate.present()) {
    return -1;
  }
  gsTransportCert.encoded_certificate = encode(certificate.get()).release();
  gsTransportCert.certificate = certificate.release();
  gsTransportCert.key = key.release();
  return 0;
}

int32_t TransportCertGet(TransportCert *copy) {
  *copy = gsTransportCert;
  return 0;
}

void TransportCertDump() {
  PemText pem;
  if (gsTransportCert.certificate != nullptr && pem.write(gsTransportCert.certificate) == PemResult::kDone) {
    message("Transport Certificate\n%s\n", pem.get());
  }
  if (gsTransportCert.key != nullptr && pem.write(gsTransportCert.key) == PemResult::kDone) {
    message("Transport Key\n%s\n", pem.get());
  }
}

void TransportCertCleanup() {
  EVP_PKEY_free(gsTransportCert.key);
  X509_free(gsTransportCert.certificate);
  free(gsTransportCert.encoded_certificate);
  gsTransportCert = {};
}

}  // namespace kelvane
