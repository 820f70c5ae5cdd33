#include "tools/fabric/ssl.h"

#include <openssl/err.h>
#if OPENSSL_VERSION_NUMBER >= 0x30000000L
#include <openssl/provider.h>
#endif

namespace kelvane::fabric {

#if OPENSSL_VERSION_NUMBER >= 0x30000000L
namespace {

// Once a provider is loaded by name the default one is no longer loaded by itself. Unloaded at exit, before OpenSSL
// cleans up.
struct Providers {
  OSSL_PROVIDER *usual = OSSL_PROVIDER_load(nullptr, "default");
  OSSL_PROVIDER *legacy = OSSL_PROVIDER_load(nullptr, "legacy");

  Providers() = default;
  Providers(const Providers &) = delete;
  Providers &operator=(const Providers &) = delete;
  ~Providers() {
    if (legacy != nullptr) OSSL_PROVIDER_unload(legacy);
    if (usual != nullptr) OSSL_PROVIDER_unload(usual);
  }
};

}  // namespace

void load_legacy_algorithms() {
  static const Providers providers;
  if (providers.usual == nullptr || providers.legacy == nullptr)
    throw CryptoError("OpenSSL's legacy provider is not installed, and with it 40-bit RC2 is missing");
}
#else
void load_legacy_algorithms() {}
#endif

void throw_crypto(const std::string &what) {
  unsigned long code = ERR_get_error();
  const char *reason = code == 0 ? nullptr : ERR_reason_error_string(code);
  ERR_clear_error();
  throw CryptoError(what + ": " + (reason == nullptr ? "no reason given" : reason));
}

BioPtr reading_bio(std::string_view bytes) {
  return BioPtr(checked(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())), "memory BIO"));
}

BioPtr writing_bio() {
  return BioPtr(checked(BIO_new(BIO_s_mem()), "memory BIO"));
}

std::string bio_bytes(BIO *bio) {
  char *data = nullptr;
  long length = BIO_get_mem_data(bio, &data);
  return length > 0 ? std::string(data, static_cast<size_t>(length)) : std::string();
}

X509Ptr certificate_from_der(std::string_view der) {
  const auto *at = reinterpret_cast<const unsigned char *>(der.data());
  const unsigned char *end = at + der.size();
  X509Ptr certificate(d2i_X509(nullptr, &at, static_cast<long>(der.size())));
  if (certificate == nullptr) ERR_clear_error();
  return certificate != nullptr && at == end ? std::move(certificate) : nullptr;
}

}  // namespace kelvane::fabric
