// A certificate's key in OpenSSH form, compared with texts written out by hand and with ssh-keygen.
#include "credentials/ssh_key_text.h"

#include "tests/support/files.h"
#include "tests/support/recording_fixture.h"
#include "tests/unit/credentials/containers.h"

extern "C" {
void __real_RSA_get0_key(const RSA *key, const BIGNUM **modulus, const BIGNUM **exponent, const BIGNUM **secret);
void __wrap_RSA_get0_key(const RSA *key, const BIGNUM **modulus, const BIGNUM **exponent, const BIGNUM **secret);
}

namespace {

bool no_modulus = false;
bool no_exponent = false;

}  // namespace

void __wrap_RSA_get0_key(const RSA *key, const BIGNUM **modulus, const BIGNUM **exponent, const BIGNUM **secret) {
  __real_RSA_get0_key(key, modulus, exponent, secret);
  *modulus = no_modulus ? nullptr : *modulus;
  *exponent = no_exponent ? nullptr : *exponent;
}

namespace {

using containers::Certificate;
using containers::Key;
using kelvane::makeSSHKey;
using kelvane::Text;

std::vector<std::string> calls;

int32_t note(const char *public_key, const char *fingerprint, int32_t selected) {
  calls.push_back(std::string(public_key) + "|" + fingerprint + "|" + std::to_string(selected));
  return 0;
}

class SshKeyTextTest : public RecordingTest {
 protected:
  SshKeyTextTest() {
    recording::set_debug_level(100);
    calls.clear();
  }
  ~SshKeyTextTest() override {
    no_modulus = no_exponent = false;
    EXPECT_EQ(recording::trace(), Lines{});
  }

  static std::string text_of(const Key &key) {
    Text text;
    makeSSHKey(containers::certificate(key, "ssh").get(), nullptr, &text);
    return text.present() ? text.get() : "<absent>";
  }
};

TEST_F(SshKeyTextTest, PassesKeyAndThumbprintToTheCallback) {
  const Certificate certificate = containers::certificate(containers::rsa_key(1), "ssh");
  makeSSHKey(certificate.get(), note, nullptr);
  EXPECT_EQ(calls,
            Lines{containers::ssh_key(containers::rsa_key(1)) + "|" + containers::thumbprint(certificate) + "|0"});
}

TEST_F(SshKeyTextTest, HandsOutTheTextAlongWithTheCallback) {
  Text text;
  makeSSHKey(containers::certificate(containers::rsa_key(1), "ssh").get(), note, &text);
  EXPECT_EQ(calls.size(), 1u);
  EXPECT_STREQ(text.get(), containers::ssh_key(containers::rsa_key(1)).c_str());
}

TEST_F(SshKeyTextTest, NeitherCallbackNorOutputIsFine) {
  makeSSHKey(containers::certificate(containers::rsa_key(1), "ssh").get(), nullptr, nullptr);
}

TEST_F(SshKeyTextTest, WritesExponentThenModulusEachWithItsSignByte) {
  // 00000007 "ssh-rsa", 00000001 03, 00000005 00 80000001
  EXPECT_EQ(text_of(containers::public_rsa_key("80000001", "3")), "ssh-rsa AAAAB3NzaC1yc2EAAAABAwAAAAUAgAAAAQ==");
  // 00000007 "ssh-rsa", 00000003 010001, 00000004 7FFFFFFF
  EXPECT_EQ(text_of(containers::public_rsa_key("7FFFFFFF", "10001")), "ssh-rsa AAAAB3NzaC1yc2EAAAADAQABAAAABH////8=");
  // 00000007 "ssh-rsa", 00000003 010001, 00000005 7FFFFFFFFF: no padding
  EXPECT_EQ(text_of(containers::public_rsa_key("7FFFFFFFFF", "10001")), "ssh-rsa AAAAB3NzaC1yc2EAAAADAQABAAAABX//////");
}

TEST_F(SshKeyTextTest, ALargeKeyIsOneLine) {
  const std::string text = text_of(containers::public_rsa_key("F" + std::string(4094, '5') + "1", "10001"));
  // 11 + 7 + 4 + 1 + 2048 bytes
  EXPECT_EQ(text.size(), 8u + (2071 + 2) / 3 * 4);
  EXPECT_EQ(text.find('\n'), std::string::npos);
}

TEST_F(SshKeyTextTest, OtherKeysYieldNothing) {
  EVP_PKEY_CTX *context = EVP_PKEY_CTX_new_id(EVP_PKEY_RSA_PSS, nullptr);
  EVP_PKEY *pss = nullptr;
  ASSERT_EQ(EVP_PKEY_keygen_init(context), 1);
  ASSERT_EQ(EVP_PKEY_keygen(context, &pss), 1);
  EVP_PKEY_CTX_free(context);
  for (const Key &key : {containers::ec_key(), Key(pss, EVP_PKEY_free)}) {
    Text text;
    ASSERT_EQ(kelvane::text_copy(&text, "before"), 0);
    makeSSHKey(containers::certificate(key, "other").get(), note, &text);
    EXPECT_EQ(calls, Lines{});
    EXPECT_STREQ(text.get(), "before");
  }
}

TEST_F(SshKeyTextTest, AKeyThatLacksANumberYieldsNothing) {
  const Certificate certificate = containers::certificate(containers::rsa_key(1), "ssh");
  for (bool *lacking : {&no_modulus, &no_exponent}) {
    *lacking = true;
    makeSSHKey(certificate.get(), note, nullptr);
    *lacking = false;
  }
  EXPECT_EQ(calls, Lines{});
}

TEST_F(SshKeyTextTest, ACertificateWithoutKeyYieldsNothing) {
  const Certificate empty(X509_new(), X509_free);
  makeSSHKey(empty.get(), note, nullptr);
  EXPECT_EQ(calls, Lines{});
}

TEST_F(SshKeyTextTest, AgreesWithSshKeygen) {
  if (support::run_command({"ssh-keygen", "-?"}).status == 127) {
    GTEST_SKIP() << "there is no ssh-keygen";
  }
  const support::TempDir folder;
  for (const char *bits : {"1024", "2048", "3072"}) {
    const std::string key = folder.file("key.pem");
    support::openssl({"genrsa", "-out", key, bits});
    const std::string public_key = support::openssl({"rsa", "-in", key, "-pubout"});
    const std::string pem = support::openssl({"req", "-x509", "-new", "-key", key, "-subj", "/CN=ssh", "-days", "1"});
    const support::CommandResult oracle =
        support::run_command({"ssh-keygen", "-i", "-m", "PKCS8", "-f", folder.write("pub.pem", public_key)});
    ASSERT_EQ(oracle.status, 0) << oracle.err;
    const unsigned char *in = nullptr;
    folder.write("cert.pem", pem);
    const std::string der = support::openssl({"x509", "-in", folder.file("cert.pem"), "-outform", "DER"});
    in = reinterpret_cast<const unsigned char *>(der.data());
    const Certificate certificate(d2i_X509(nullptr, &in, static_cast<long>(der.size())), X509_free);
    calls.clear();
    makeSSHKey(certificate.get(), note, nullptr);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].substr(0, calls[0].find('|')) + "\n", oracle.out);
    std::string fingerprint = support::openssl({"x509", "-in", folder.file("cert.pem"), "-noout", "-fingerprint"});
    fingerprint = fingerprint.substr(fingerprint.find('=') + 1, 59);
    std::erase(fingerprint, ':');
    EXPECT_THAT(calls[0], ::testing::EndsWith("|" + fingerprint + "|0"));
  }
}

}  // namespace
