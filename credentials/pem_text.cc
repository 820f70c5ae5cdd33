#include "credentials/pem_text.h"

#include <openssl/pem.h>

namespace kelvane {

namespace {

PemResult terminate(BIO *buffer, int written) {
  return written == 1 && BIO_write(buffer, "", 1) == 1 ? PemResult::kDone : PemResult::kWriteFailed;
}

}  // namespace

PemResult PemText::write(X509 *certificate) {
  buffer_.reset(BIO_new(BIO_s_secmem()));
  if (!buffer_.present()) {
    return PemResult::kNoMemory;
  }
  return terminate(buffer_.get(), PEM_write_bio_X509(buffer_.get(), certificate));
}

PemResult PemText::write(EVP_PKEY *key) {
  buffer_.reset(BIO_new(BIO_s_secmem()));
  if (!buffer_.present()) {
    return PemResult::kNoMemory;
  }
  const int written = PEM_write_bio_PrivateKey(buffer_.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
  return terminate(buffer_.get(), written);
}

const char *PemText::get() const {
  char *text = nullptr;
  BIO_get_mem_data(buffer_.get(), &text);
  return text;
}

}  // namespace kelvane
