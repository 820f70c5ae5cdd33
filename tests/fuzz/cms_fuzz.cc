// A CMS message in DER form, as it stands in the certificates documents: unless it is done both stores are as they
// were, done twice it gives the same, and nothing is logged.
#include <openssl/err.h>
#include <openssl/pem.h>

#include "core/base/openssl_owners.h"
#include "credentials/cert_store.h"
#include "credentials/cms_container.h"
#include "credentials/ssh_pub_key.h"
#include "credentials/transport_cert.h"
#include "tests/fuzz/world.h"

namespace {

kelvane::CmsContainerResult process(const uint8_t *data, size_t size) {
  const kelvane::BioOwner pem(BIO_new(BIO_s_mem()));
  PEM_write_bio(pem.get(), "CMS", "", data, static_cast<long>(size));
  kelvane::TransportCert transport = {};
  kelvane::TransportCertGet(&transport);
  const kelvane::CmsContainerResult result =
      kelvane::CmsContainerProcess(pem.get(), transport.key, transport.certificate);
  ERR_clear_error();
  fuzz::require(recording::log_text().find("PRIVATE KEY") == std::string::npos, "no key reaches the log");
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::start();
  kelvane::CertStoreClear();
  kelvane::SSHPubKeySet("admin");
  const bool done = process(data, size) == kelvane::CmsContainerResult::kDone;
  const std::string first = fuzz::certificate_store();
  fuzz::require(done || first == "End Dump 0 certificate(s)\n", "a message that is not done changes nothing");
  fuzz::require((process(data, size) == kelvane::CmsContainerResult::kDone) == done, "twice gives the same result");
  fuzz::require(fuzz::certificate_store() == first, "twice gives the same store");
  return 0;
}
