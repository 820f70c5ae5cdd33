// The thumbprint of a certificate, and what stands in the field without one.
#include "credentials/thumbprint.h"

#include <gtest/gtest.h>

#include "credentials/ssh_key_text.h"
#include "tests/unit/credentials/containers.h"

extern "C" {
int __real_X509_digest(const X509 *, const EVP_MD *, unsigned char *, unsigned int *);
int __wrap_X509_digest(const X509 *, const EVP_MD *, unsigned char *, unsigned int *);
}

namespace {

bool no_digest = false;
bool short_digest = false;
std::string offered;

int32_t note(const char *, const char *fingerprint, int32_t) {
  offered = fingerprint;
  return 0;
}

}  // namespace

int __wrap_X509_digest(const X509 *certificate, const EVP_MD *type, unsigned char *digest, unsigned int *length) {
  const int result = no_digest ? 0 : __real_X509_digest(certificate, type, digest, length);
  *length = short_digest ? 16 : *length;
  return result;
}

namespace {

class ThumbprintTest : public ::testing::Test {
 protected:
  ThumbprintTest() { memset(field_, 'x', sizeof field_); }
  ~ThumbprintTest() override { no_digest = short_digest = false; }

  std::string field() const { return std::string(field_, sizeof field_); }

  const containers::Certificate certificate_ = containers::certificate(containers::rsa_key(1), "print");
  char field_[50];
};

TEST_F(ThumbprintTest, Is40UppercaseDigitsWithZerosBehind) {
  kelvane::certificate_thumbprint(certificate_.get(), field_);
  EXPECT_EQ(field(), containers::thumbprint(certificate_) + std::string(10, '\0'));
}

TEST_F(ThumbprintTest, IsZerosAloneWhenTheDigestFails) {
  no_digest = true;
  kelvane::certificate_thumbprint(certificate_.get(), field_);
  EXPECT_EQ(field(), std::string(50, '\0'));
}

TEST_F(ThumbprintTest, IsZerosAloneWhenTheDigestHasAnotherLength) {
  short_digest = true;
  kelvane::certificate_thumbprint(certificate_.get(), field_);
  EXPECT_EQ(field(), std::string(50, '\0'));
}

TEST_F(ThumbprintTest, AnUndigestedCertificateIsOfferedWithAnEmptyOne) {
  no_digest = true;
  offered = "none";
  kelvane::makeSSHKey(certificate_.get(), note, nullptr);
  EXPECT_EQ(offered, "");
}

}  // namespace
