// A PKCS#12 container in DER form: SSH keys and thumbprints have their form, the store keeps its bounds, and walking a
// container twice gives the same.
#include <openssl/err.h>

#include "core/base/openssl_owners.h"
#include "credentials/cert_store.h"
#include "credentials/pkcs12_walk.h"
#include "tests/fuzz/world.h"

namespace {

int32_t callback(const char *public_key, const char *fingerprint, int32_t selected) {
  fuzz::require(std::string(public_key).rfind("ssh-rsa AAAAB3NzaC1yc2E", 0) == 0, "an SSH key begins as one");
  fuzz::require(fuzz::is_thumbprint(fingerprint) && selected == 0, "a certificate is offered with its thumbprint");
  return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::start();
  const kelvane::Pkcs12Owner container(d2i_PKCS12(nullptr, &data, static_cast<long>(size)));
  if (container.present()) {
    kelvane::ProcessPKCS12(container.get(), callback);
    const std::string first = fuzz::certificate_store();
    kelvane::ProcessPKCS12(container.get(), nullptr);
    fuzz::require(fuzz::certificate_store() == first, "walking twice gives the same");
  }
  kelvane::CertStoreClear();
  ERR_clear_error();
  return 0;
}
