// A CMS message in DER form, as it stands in the certificates documents: unless it is done both stores are as they
// were, done twice it gives the same, and no key is logged.
#include <openssl/err.h>
#include <openssl/pem.h>

#include "core/base/openssl_owners.h"
#include "credentials/cert_store.h"
#include "credentials/cms_container.h"
#include "credentials/transport_cert.h"
#include "tests/fuzz/fixed_key.h"
#include "tests/fuzz/world.h"

namespace {

bool process(const uint8_t *data, size_t size) {
  const kelvane::BioOwner pem(BIO_new(BIO_s_mem()));
  PEM_write_bio(pem.get(), "CMS", "", data, static_cast<long>(size));
  kelvane::TransportCert transport = {};
  kelvane::TransportCertGet(&transport);
  const auto result = kelvane::CmsContainerProcess(pem.get(), transport.key, transport.certificate);
  ERR_clear_error();
  fuzz::require(recording::log_text().find("PRIVATE KEY") == std::string::npos, "no key reaches the log");
  return result == kelvane::CmsContainerResult::kDone;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::start();
  fuzz::store_fixed_certificate();
  const std::string before = fuzz::certificate_store();
  const bool done = process(data, size);
  const std::string first = fuzz::certificate_store();
  fuzz::require(done || (first == before && fuzz::ssh_keys_installed() == 0), "what is not done changes nothing");
  const bool again = process(data, size);
  fuzz::require(again == done && fuzz::certificate_store() == first, "twice gives the same");
  kelvane::CertStoreClear();
  fuzz::ssh_keys_installed();
  return 0;
}
