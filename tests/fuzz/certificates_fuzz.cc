// The wire server's certificates document: OpenSSL's error queue is left empty, no key reaches the log, processing it
// twice gives the same store, and the stores keep their bounds.
#include <openssl/err.h>

#include "core/base/buffer.h"
#include "credentials/cert_store.h"
#include "protocol/wire/certificates.h"
#include "tests/fuzz/world.h"

namespace {

std::string process(const std::string &document) {
  kelvane::BufferOwner buffer;
  if (!document.empty()) {
    kelvane::event_curl_recv_cb(const_cast<char *>(document.data()), 1, document.size(), buffer.get());
  }
  kelvane::certificates_process(buffer.get());
  fuzz::require(ERR_peek_error() == 0, "no error of OpenSSL is left");
  fuzz::require(recording::log_text().find("PRIVATE KEY") == std::string::npos, "no key reaches the log");
  fuzz::require(fuzz::ssh_keys_installed() == 0, "the keys of certificates are candidates only");
  return fuzz::certificate_store();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::start();
  const std::string document = fuzz::bytes_of(data, size);
  fuzz::require(process(document) == process(document), "processing twice gives the same");
  kelvane::CertStoreClear();
  return 0;
}
