// Containers made by the openssl tool, as an independent judge of what the walk understands.
#include "credentials/cert_store.h"
#include "credentials/crypto_library.h"
#include "credentials/pkcs12_walk.h"
#include "credentials/ssh_pub_key.h"
#include "tests/support/files.h"
#include "tests/support/recording_fixture.h"
#include "tests/unit/credentials/containers.h"

namespace {

using containers::Certificate;
using containers::Key;

class Pkcs12ToolTest : public RecordingTest {
 protected:
  static void SetUpTestSuite() { kelvane::CryptoLibraryInit(); }

  Pkcs12ToolTest() {
    kelvane::SSHPubKeySet("nobody");
    recording::reset();
  }
  ~Pkcs12ToolTest() override { kelvane::CertStoreClear(); }

  void SetUp() override {
    if (!support::have_openssl()) {
      GTEST_SKIP() << "there is no openssl command";
    }
  }

  // Exports key and certificate with these further options, and walks the result.
  void walk(std::vector<std::string> options) {
    std::vector<std::string> arguments = {"pkcs12", "-export", "-in",
                                          folder_.write("c.pem", containers::pem(certificate_))};
#if OPENSSL_VERSION_NUMBER >= 0x30000000L
    arguments.push_back("-legacy");
#endif
    arguments.insert(arguments.end(), options.begin(), options.end());
    const std::string der = support::openssl(arguments);
    kelvane::ProcessPKCS12(containers::parse(der).get(), kelvane::SSHPubKeyAdd);
  }
  std::vector<std::string> with_key(std::vector<std::string> options) {
    options.insert(options.begin(), {"-inkey", folder_.write("k.pem", containers::pem(key_)), "-passout", "pass:"});
    return options;
  }
  bool find() {
    found_ = nullptr;
    found_key_ = nullptr;
    return kelvane::CertStoreFind(containers::thumbprint(certificate_).c_str(), &found_, &found_key_) == 1;
  }
  static std::string installed(const std::string &fingerprint) {
    kelvane::SSHPubKeyFlag(fingerprint.c_str());
    kelvane::SSHPubKeySet("user");
    return recording::ssh_key("user", 1);
  }

  const support::TempDir folder_;
  const Key key_ = containers::rsa_key(1);
  const Certificate certificate_ = containers::certificate(key_, "tenant");
  X509 *found_ = nullptr;
  EVP_PKEY *found_key_ = nullptr;
};

TEST_F(Pkcs12ToolTest, OpensEveryEncryption) {
  const char *const names[] = {"PBE-SHA1-RC2-40", "PBE-SHA1-3DES", "PBE-SHA1-RC2-128", "AES-256-CBC", "NONE"};
  for (const std::string certificates : names) {
    for (const std::string keys : names) {
      walk(with_key({"-certpbe", certificates, "-keypbe", keys}));
      EXPECT_TRUE(find()) << certificates << " " << keys;
      EXPECT_TRUE(containers::same(found_, certificate_));
      EXPECT_TRUE(containers::same(found_key_, key_)) << certificates << " " << keys;
    }
  }
}

TEST_F(Pkcs12ToolTest, AContainerWithoutMacIsTaken) {
  walk(with_key({"-nomac"}));
  EXPECT_TRUE(find());
  EXPECT_TRUE(containers::same(found_key_, key_));
}

TEST_F(Pkcs12ToolTest, TheCertificateBecomesAnSshKeyByItsThumbprint) {
  walk(with_key({}));
  EXPECT_EQ(installed(containers::thumbprint(certificate_)), containers::ssh_key(key_));
}

TEST_F(Pkcs12ToolTest, ACertificateAloneHasNoKeyIdAndIsOnlyOffered) {
  walk({"-nokeys", "-passout", "pass:"});
  EXPECT_FALSE(find());
  EXPECT_EQ(installed(containers::thumbprint(certificate_)), containers::ssh_key(key_));
}

TEST_F(Pkcs12ToolTest, AnotherPasswordOpensNothing) {
  walk({"-inkey", folder_.write("k.pem", containers::pem(key_)), "-passout", "pass:secret"});
  EXPECT_FALSE(find());
  EXPECT_EQ(installed(containers::thumbprint(certificate_)), "");
}

TEST_F(Pkcs12ToolTest, ClearCertificateBehindAnUnreadableKeyIsFoundAlone) {
  walk({"-inkey", folder_.write("k.pem", containers::pem(key_)), "-passout", "pass:secret", "-certpbe", "NONE"});
  EXPECT_TRUE(find());
  EXPECT_EQ(found_key_, nullptr);
}

TEST_F(Pkcs12ToolTest, FurtherCertificatesAreOfferedOnly) {
  const Certificate authority = containers::certificate(containers::rsa_key(2), "authority");
  walk(with_key({"-certfile", folder_.write("ca.pem", containers::pem(authority))}));
  EXPECT_TRUE(find());
  EXPECT_EQ(kelvane::CertStoreFind(containers::thumbprint(authority).c_str(), &found_, &found_key_), 0);
  EXPECT_EQ(installed(containers::thumbprint(authority)), containers::ssh_key(containers::rsa_key(2)));
}

// Two certificates for one key: the thumbprints differ, the key texts do not.
TEST_F(Pkcs12ToolTest, TheSameKeyUnderTwoThumbprintsIsOfferedOnce) {
  const Certificate renewed = containers::certificate(key_, "renewed", 2);
  recording::set_debug_level(5);
  walk(with_key({"-certfile", folder_.write("more.pem", containers::pem(renewed))}));
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: Pubkey is duplicate\n"});
}

}  // namespace
