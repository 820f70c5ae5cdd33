// The metadata service's list of certificates and its certificate documents, one input answering for both: OpenSSL's
// error queue is left empty, no key reaches the log, fetching twice gives the same store, and the stores keep their
// bounds.
#include <openssl/err.h>

#include "credentials/cert_store.h"
#include "protocol/metadata/metadata_certificates.h"
#include "tests/fuzz/metadata_world.h"
#include "tests/fuzz/world.h"

namespace {

std::string fetched(const kelvane::Protocol *protocol, const kelvane::JsonOwner &document) {
  protocol->get_certs(protocol);
  kelvane::processJSONCertificate(document.get());
  fuzz::require(ERR_peek_error() == 0, "no error of OpenSSL is left");
  fuzz::require(recording::log_text().find("PRIVATE KEY") == std::string::npos, "no key reaches the log");
  fuzz::require(fuzz::ssh_keys_installed() == 0, "the keys of certificates are candidates only");
  return fuzz::certificate_store();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static FILE *const silent = freopen("/dev/null", "w", stdout);  // failures are told there
  fuzz::require(silent != nullptr, "there is /dev/null");
  fuzz::start();
  const std::string text = fuzz::text_of(data, size);
  fuzz::answer_with(text);
  const kelvane::Protocol *protocol = kelvane::ProtocolGetMetaData();
  const kelvane::JsonOwner document(json_tokener_parse(text.c_str()));
  fuzz::require(fetched(protocol, document) == fetched(protocol, document), "fetching twice gives the same");
  kelvane::CertStoreClear();
  return 0;
}
