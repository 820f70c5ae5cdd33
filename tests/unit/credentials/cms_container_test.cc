// The unwrapping of the platform's certificates: messages made by the openssl tool, good, broken and hostile ones.
#include "credentials/cms_container.h"

#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ui.h>

#include "credentials/cert_store.h"
#include "credentials/crypto_library.h"
#include "credentials/ssh_pub_key.h"
#include "credentials/transport_cert.h"
#include "tests/support/files.h"
#include "tests/support/recording_fixture.h"
#include "tests/unit/credentials/containers.h"

extern "C" {
BIO *__real_BIO_new(const BIO_METHOD *type);
BIO *__wrap_BIO_new(const BIO_METHOD *type);
}

namespace {

bool no_buffer = false;
const BIO_METHOD *buffer_type = nullptr;

}  // namespace

BIO *__wrap_BIO_new(const BIO_METHOD *type) {
  buffer_type = type;
  return no_buffer ? nullptr : __real_BIO_new(type);
}

namespace kelvane {

void PrintTo(CmsContainerResult result, std::ostream *out) {
  static const char *const kNames[] = {"kDone", "kCmsUnreadable", "kRecipient", "kDecrypt", "kContainer"};
  *out << kNames[static_cast<int>(result)];
}

}  // namespace kelvane

namespace {

using kelvane::CmsContainerProcess;
using kelvane::CmsContainerResult;
using kelvane::TransportCert;
using support::openssl;

class CmsContainerTest : public RecordingTest {
 protected:
  static void SetUpTestSuite() { kelvane::CryptoLibraryInit(); }

  CmsContainerTest() {
    recording::set_debug_level(5);
    kelvane::SSHPubKeySet("nobody");
    EXPECT_EQ(kelvane::TransportCertMake(), 0);
    kelvane::TransportCertGet(&transport_);
    X509_up_ref(transport_.certificate);
    recipient_ =
        folder_.write("transport.pem", containers::pem(containers::Certificate(transport_.certificate, X509_free)));
    add_to_store("before");
  }
  ~CmsContainerTest() override {
    no_buffer = false;
    kelvane::CertStoreClear();
    kelvane::SSHPubKeySet("nobody");
    kelvane::TransportCertCleanup();
    ERR_clear_error();
  }

  // The store before: one record, so that a test sees whether it was cleared.
  void add_to_store(const std::string &id) {
    X509_up_ref(before_.get());
    kelvane::CertStoreCert(reinterpret_cast<const uint8_t *>(id.data()), id.size(), before_.get());
  }
  static bool in_store(const containers::Certificate &certificate) {
    X509 *found = nullptr;
    EVP_PKEY *key = nullptr;
    return kelvane::CertStoreFind(containers::thumbprint(certificate).c_str(), &found, &key) == 1;
  }

  // The tool's CMS message of these bytes for a certificate.
  std::string message_for(const std::string &bytes, const std::string &certificate) const {
    return openssl(
        {"cms", "-encrypt", "-binary", "-des3", "-in", folder_.write("plain", bytes), "-outform", "PEM", certificate});
  }
  std::string good_container() const {
    return containers::container_der(
        {containers::data_content({containers::certificate_bag(certificate_, containers::local_key_id("1")),
                                   containers::shrouded_bag(containers::der(key_), containers::local_key_id("1"))})});
  }
  CmsContainerResult process(const std::string &pem, EVP_PKEY *key, X509 *certificate) const {
    const std::shared_ptr<BIO> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), BIO_free);
    return CmsContainerProcess(bio.get(), key, certificate);
  }
  CmsContainerResult process(const std::string &pem) const {
    return process(pem, transport_.key, transport_.certificate);
  }
  void expect_untouched(const std::string &what) const {
    EXPECT_TRUE(in_store(before_)) << what;
    EXPECT_FALSE(in_store(certificate_)) << what;
    EXPECT_EQ(recording::messages(), Lines{}) << what;
  }

  const support::TempDir folder_;
  const containers::Key key_ = containers::rsa_key(1);
  const containers::Certificate certificate_ = containers::certificate(key_, "tenant");
  const containers::Certificate before_ = containers::certificate(key_, "before");
  TransportCert transport_ = {};
  std::string recipient_;
};

TEST_F(CmsContainerTest, AGoodMessageFillsBothStores) {
  EXPECT_EQ(process(message_for(good_container(), recipient_)), CmsContainerResult::kDone);
  EXPECT_FALSE(in_store(before_));
  X509 *found = nullptr;
  EVP_PKEY *key = nullptr;
  EXPECT_EQ(kelvane::CertStoreFind(containers::thumbprint(certificate_).c_str(), &found, &key), 1);
  EXPECT_TRUE(containers::same(key, key_));
  EXPECT_EQ(recording::trace(), (Lines{"generate_RSA_key(2048, 65537)", "get_rnd_bytes(8)"})) << "nothing is logged";
  kelvane::SSHPubKeyFlag(containers::thumbprint(certificate_).c_str());
  kelvane::SSHPubKeySet("user");
  EXPECT_EQ(recording::ssh_key("user", 1), containers::ssh_key(key_));
}

TEST_F(CmsContainerTest, AMessageOf256KilobytesIsTheLongest) {
  std::string message = message_for(good_container(), recipient_);
  message.insert(0, std::string(262144 - message.size(), '\n'));
  EXPECT_EQ(process("\n" + message), CmsContainerResult::kCmsUnreadable);
  expect_untouched("a byte more");
  EXPECT_EQ(process(message), CmsContainerResult::kDone);
}

TEST_F(CmsContainerTest, TheContentIsDecryptedIntoMemoryThatIsWiped) {
  EXPECT_EQ(process(message_for(good_container(), recipient_)), CmsContainerResult::kDone);
  EXPECT_EQ(buffer_type, BIO_s_secmem());
}

TEST_F(CmsContainerTest, AContainerOfTheToolWithOldCiphersGoesThrough) {
  std::vector<std::string> arguments = {"pkcs12",   "-export",
                                        "-inkey",   folder_.write("k.pem", containers::pem(key_)),
                                        "-in",      folder_.write("c.pem", containers::pem(certificate_)),
                                        "-passout", "pass:",
                                        "-certpbe", "PBE-SHA1-RC2-40",
                                        "-keypbe",  "PBE-SHA1-3DES"};
#if OPENSSL_VERSION_NUMBER >= 0x30000000L
  arguments.push_back("-legacy");
#endif
  EXPECT_EQ(process(message_for(openssl(arguments), recipient_)), CmsContainerResult::kDone);
  X509 *found = nullptr;
  EVP_PKEY *key = nullptr;
  EXPECT_EQ(kelvane::CertStoreFind(containers::thumbprint(certificate_).c_str(), &found, &key), 1);
  EXPECT_TRUE(containers::same(key, key_));
}

TEST_F(CmsContainerTest, WhatIsNoMessageIsUnreadable) {
  const std::string good = message_for(good_container(), recipient_);
  const std::string texts[] = {
      "",
      "nonsense",
      "-----BEGIN CMS-----\n",
      "-----BEGIN CMS-----\n-----END CMS-----\n",
      "-----BEGIN CMS-----\nAAAA\n-----END CMS-----\n",
      good.substr(0, good.size() / 2),
      containers::pem(certificate_),
  };
  for (const std::string &text : texts) {
    EXPECT_EQ(process(text), CmsContainerResult::kCmsUnreadable) << text;
    expect_untouched(text);
  }
}

// How often the library opened its way of asking somebody; nobody ever answers.
int asked = 0;

int open_and_fail(UI *) {
  asked++;
  return 0;
}

TEST_F(CmsContainerTest, AMessageThatCallsItselfEncryptedAsksNobodyForAPassword) {
  const std::shared_ptr<UI_METHOD> method(UI_create_method("nobody"), UI_destroy_method);
  UI_method_set_opener(method.get(), open_and_fail);
  UI_set_default_method(method.get());
  std::string text = message_for(good_container(), recipient_);
  const std::string begin = "-----BEGIN CMS-----\n";
  ASSERT_EQ(text.substr(0, begin.size()), begin);
  text.insert(begin.size(), "Proc-Type: 4,ENCRYPTED\nDEK-Info: DES-EDE3-CBC,0123456789ABCDEF\n\n");
  asked = 0;
  EXPECT_EQ(process(text), CmsContainerResult::kCmsUnreadable);
  UI_set_default_method(UI_OpenSSL());
  EXPECT_EQ(asked, 0);
  expect_untouched("password");
}

TEST_F(CmsContainerTest, AMessageForAnotherCertificateIsRefused) {
  const std::string other = folder_.write("other.pem", containers::pem(certificate_));
  EXPECT_EQ(process(message_for(good_container(), other)), CmsContainerResult::kRecipient);
  expect_untouched("another certificate");
}

TEST_F(CmsContainerTest, WithoutKeyOrCertificateNothingIsDecrypted) {
  const std::string text = message_for(good_container(), recipient_);
  EXPECT_EQ(process(text, nullptr, nullptr), CmsContainerResult::kRecipient);
  EXPECT_EQ(process(text, transport_.key, nullptr), CmsContainerResult::kRecipient);
  EXPECT_EQ(process(text, nullptr, transport_.certificate), CmsContainerResult::kRecipient);
  expect_untouched("no key");
}

TEST_F(CmsContainerTest, AMessageOfAnotherKindIsRefused) {
  const std::string plain = folder_.write("plain", good_container());
  const std::string signed_message = openssl({"cms", "-sign", "-binary", "-nodetach", "-in", plain, "-outform", "PEM",
                                              "-signer", folder_.write("c.pem", containers::pem(certificate_)),
                                              "-inkey", folder_.write("k.pem", containers::pem(key_))});
  const std::string data = openssl({"cms", "-data_create", "-in", plain, "-binary", "-outform", "PEM"});
  const std::string digest = openssl({"cms", "-digest_create", "-in", plain, "-binary", "-outform", "PEM"});
  for (const std::string &text : {signed_message, data, digest}) {
    EXPECT_EQ(process(text), CmsContainerResult::kRecipient) << text.substr(0, 200);
    expect_untouched("another kind");
  }
}

// The right recipient, another key: the library hides it by decrypting with a random content key. Whatever comes of
// that must leave the stores alone, every time.
TEST_F(CmsContainerTest, AWrongKeyNeverTouchesTheStores) {
  const std::string text = message_for(good_container(), recipient_);
  for (int i = 0; i < 300; i++) {
    const CmsContainerResult result = process(text, containers::rsa_key(2).get(), transport_.certificate);
    ASSERT_TRUE(result == CmsContainerResult::kRecipient || result == CmsContainerResult::kDecrypt ||
                result == CmsContainerResult::kContainer)
        << ::testing::PrintToString(result);
  }
  expect_untouched("wrong key");
}

// Every byte of the message changed once (in steps that keep the test short): nothing crashes or leaks, and no result
// but kDone touches the stores.
TEST_F(CmsContainerTest, ADamagedMessageDoesNoHarm) {
  const std::string text = message_for(good_container(), recipient_);
  const std::string der =
      openssl({"cms", "-cmsout", "-in", folder_.write("m.pem", text), "-inform", "PEM", "-outform", "DER"});
  for (size_t i = 0; i < der.size(); i += 3) {
    std::string damaged = der;
    damaged[i] = static_cast<char>(damaged[i] ^ 0x11);
    const std::shared_ptr<BIO> pem(BIO_new(BIO_s_mem()), BIO_free);
    PEM_write_bio(pem.get(), "CMS", "", reinterpret_cast<const unsigned char *>(damaged.data()),
                  static_cast<long>(damaged.size()));
    const CmsContainerResult result = CmsContainerProcess(pem.get(), transport_.key, transport_.certificate);
    if (result == CmsContainerResult::kDone) {
      kelvane::CertStoreClear();
      add_to_store("before");
    }
    ASSERT_TRUE(in_store(before_)) << i << " " << ::testing::PrintToString(result);
  }
}

TEST_F(CmsContainerTest, TamperedContentFailsToDecrypt) {
  const std::string text = message_for(good_container(), recipient_);
  std::string der =
      openssl({"cms", "-cmsout", "-in", folder_.write("m.pem", text), "-inform", "PEM", "-outform", "DER"});
  // The last block decides on the padding: some change of its last byte breaks it.
  int refused = 0;
  for (int change = 1; change < 16; change++) {
    std::string damaged = der;
    damaged[damaged.size() - 1] = static_cast<char>(damaged[damaged.size() - 1] ^ change);
    const std::shared_ptr<BIO> pem(BIO_new(BIO_s_mem()), BIO_free);
    PEM_write_bio(pem.get(), "CMS", "", reinterpret_cast<const unsigned char *>(damaged.data()),
                  static_cast<long>(damaged.size()));
    refused += CmsContainerProcess(pem.get(), transport_.key, transport_.certificate) == CmsContainerResult::kDecrypt;
  }
  EXPECT_GE(refused, 12) << "of 15";
}

TEST_F(CmsContainerTest, NoMemoryForTheContentIsAFailedDecryption) {
  const std::string text = message_for(good_container(), recipient_);
  const std::shared_ptr<BIO> bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), BIO_free);
  no_buffer = true;
  EXPECT_EQ(CmsContainerProcess(bio.get(), transport_.key, transport_.certificate), CmsContainerResult::kDecrypt);
  expect_untouched("no memory");
}

TEST_F(CmsContainerTest, ContentThatIsNoContainerIsRefused) {
  const std::string good = good_container();
  for (const std::string &content : {std::string("no container"), good.substr(0, good.size() - 1),
                                     containers::tlv(containers::kSequence, ""), std::string("\0", 1)}) {
    EXPECT_EQ(process(message_for(content, recipient_)), CmsContainerResult::kContainer) << content.size();
    expect_untouched("no container");
  }
}

TEST_F(CmsContainerTest, ABrokenContainerCountsAsDone) {
  const std::string container = containers::container_der({containers::data_content(
      {containers::certificate_bag(certificate_, containers::local_key_id("1")),
       containers::bag(NID_keyBag, containers::broken_private_key(), containers::local_key_id("1"))})});
  EXPECT_EQ(process(message_for(container, recipient_)), CmsContainerResult::kDone);
  EXPECT_TRUE(in_store(certificate_));
}

TEST_F(CmsContainerTest, TheLibrarysErrorsAreLeftForTheCaller) {
  ERR_clear_error();
  EXPECT_EQ(process("nonsense"), CmsContainerResult::kCmsUnreadable);
  EXPECT_NE(ERR_peek_error(), 0u);
  ERR_clear_error();
  EXPECT_EQ(process(message_for("no container", recipient_)), CmsContainerResult::kContainer);
  EXPECT_NE(ERR_peek_error(), 0u);
}

}  // namespace
