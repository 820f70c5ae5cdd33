// Containers that lack their optional content, or whose encoded form ends early: their safes are not asked for.
#include <cstring>
#include <optional>

#include "credentials/cert_store.h"
#include "credentials/crypto_library.h"
#include "credentials/pkcs12_walk.h"
#include "tests/support/recording_fixture.h"
#include "tests/unit/credentials/containers.h"

extern "C" {
int __real_i2d_PKCS12(PKCS12 *container, unsigned char **bytes);
int __wrap_i2d_PKCS12(PKCS12 *container, unsigned char **bytes);
}

namespace {

std::optional<std::string> encoded;  // what the library gives for the encoded form; "" for a failure

}  // namespace

int __wrap_i2d_PKCS12(PKCS12 *container, unsigned char **bytes) {
  if (!encoded) {
    return __real_i2d_PKCS12(container, bytes);
  }
  if (encoded->empty()) {
    return -1;
  }
  *bytes = static_cast<unsigned char *>(OPENSSL_malloc(encoded->size()));
  std::memcpy(*bytes, encoded->data(), encoded->size());
  return static_cast<int>(encoded->size());
}

namespace {

using containers::certificate_bag;
using containers::data_content;
using containers::local_key_id;

class Pkcs12SafesTest : public RecordingTest {
 protected:
  Pkcs12SafesTest() { kelvane::CryptoLibraryInit(); }
  ~Pkcs12SafesTest() override {
    encoded.reset();
    kelvane::CertStoreClear();
  }

  // Whether the walk of a good container stores its certificate, when its encoded form is this one.
  bool walked(const std::optional<std::string> &form) {
    encoded = form;
    kelvane::ProcessPKCS12(container_.get(), nullptr);
    X509 *certificate = nullptr;
    EVP_PKEY *key = nullptr;
    return kelvane::CertStoreFind(containers::thumbprint(certificate_).c_str(), &certificate, &key) == 1;
  }

  const containers::Certificate certificate_ = containers::certificate(containers::rsa_key(1), "safes");
  const containers::Container container_ =
      containers::container({data_content({certificate_bag(certificate_, local_key_id("1"))})});
};

TEST_F(Pkcs12SafesTest, AreAskedForWhenTheContentIsThere) {
  EXPECT_TRUE(walked(std::nullopt));
  EXPECT_TRUE(walked(std::string("\x30\x0A\x02\x01\x03\x30\x05\x06\x01\x2A\xA0\x00", 12)));
}

TEST_F(Pkcs12SafesTest, AreNotAskedForWhenTheEncodedFormEndsBeforeTheContent) {
  for (const std::string &form : {
           std::string(),
           std::string("\x30", 1),
           std::string("\x30\x00", 2),
           std::string("\x30\x03\x02\x01\x03", 5),
           std::string("\x30\x05\x02\x01\x03\x30\x00", 7),
           std::string("\x30\x08\x02\x01\x03\x30\x03\x06\x01\x2A", 10),
           std::string("\x30\x0A\x02\x01\x03\x30\x05\x06\x01\x2A\x30\x00", 12),
       }) {
    EXPECT_FALSE(walked(form)) << containers::hex_upper(form);
  }
}

}  // namespace
