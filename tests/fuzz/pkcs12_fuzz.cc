// A PKCS#12 container in DER form: SSH keys and thumbprints have their form, the store keeps its bounds, and walking a
// container twice gives the same. A derivation of more than 10,000 iterations counts as too dear here, so that the
// fuzzer does not spend its time in them: the bound of the agent is tried by the unit tests.
#include <openssl/err.h>

#include "core/base/openssl_owners.h"
#include "credentials/cert_store.h"
#include "credentials/pbe_cost.h"
#include "credentials/pkcs12_walk.h"
#include "tests/fuzz/world.h"

uint64_t real_cost(const X509_ALGOR *) __asm__("__real__ZN7kelvane8pbe_costEPK13X509_algor_st");
uint64_t cheap_cost(const X509_ALGOR *) __asm__("__wrap__ZN7kelvane8pbe_costEPK13X509_algor_st");
uint64_t cheap_cost(const X509_ALGOR *algorithm) {
  const uint64_t cost = real_cost(algorithm);
  return cost > 10000 ? kelvane::kPbeCostAbsurd : cost;
}

namespace {

void callback(const char *public_key, const char *fingerprint, int32_t selected) {
  fuzz::require(std::string(public_key).rfind("ssh-rsa AAAAB3NzaC1yc2E", 0) == 0, "an SSH key begins as one");
  fuzz::require(fuzz::is_thumbprint(fingerprint) && selected == 0, "a certificate is offered with its thumbprint");
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
  ERR_clear_error();
  return 0;
}
