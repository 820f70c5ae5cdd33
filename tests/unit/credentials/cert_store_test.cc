// The certificate store by itself: records, capacity, look-up, ownership, the operator's dump.
#include "credentials/cert_store.h"

#include <openssl/pem.h>

#include "tests/support/recording_fixture.h"
#include "tests/unit/credentials/containers.h"

// Substitutes that fail on demand, linked in front of the library's own.
extern "C" {
BIO *__real_BIO_new(const BIO_METHOD *type);
BIO *__wrap_BIO_new(const BIO_METHOD *type);
int __real_BIO_write(BIO *bio, const void *bytes, int length);
int __wrap_BIO_write(BIO *bio, const void *bytes, int length);
int __real_PEM_write_bio_X509(BIO *bio, X509 *certificate);
int __wrap_PEM_write_bio_X509(BIO *bio, X509 *certificate);
int __real_PEM_write_bio_PrivateKey(BIO *, EVP_PKEY *, const EVP_CIPHER *, unsigned char *, int, pem_password_cb *,
                                    void *);
int __wrap_PEM_write_bio_PrivateKey(BIO *, EVP_PKEY *, const EVP_CIPHER *, unsigned char *, int, pem_password_cb *,
                                    void *);
int __real_X509_digest(const X509 *, const EVP_MD *, unsigned char *, unsigned int *);
int __wrap_X509_digest(const X509 *, const EVP_MD *, unsigned char *, unsigned int *);
}

namespace {

bool no_buffer = false;
const BIO_METHOD *buffer_type = nullptr;
bool no_writing = false;
bool no_terminator = false;
bool no_digest = false;

}  // namespace

BIO *__wrap_BIO_new(const BIO_METHOD *type) {
  buffer_type = type;
  return no_buffer ? nullptr : __real_BIO_new(type);
}
int __wrap_BIO_write(BIO *bio, const void *bytes, int length) {
  return no_terminator ? -1 : __real_BIO_write(bio, bytes, length);
}
int __wrap_PEM_write_bio_X509(BIO *bio, X509 *certificate) {
  return no_writing ? 0 : __real_PEM_write_bio_X509(bio, certificate);
}
int __wrap_PEM_write_bio_PrivateKey(BIO *bio, EVP_PKEY *key, const EVP_CIPHER *cipher, unsigned char *text, int length,
                                    pem_password_cb *callback, void *user) {
  return no_writing ? 0 : __real_PEM_write_bio_PrivateKey(bio, key, cipher, text, length, callback, user);
}
int __wrap_X509_digest(const X509 *certificate, const EVP_MD *type, unsigned char *digest, unsigned int *length) {
  return no_digest ? 0 : __real_X509_digest(certificate, type, digest, length);
}

namespace {

using containers::Certificate;
using containers::Key;
using kelvane::CertStoreClear;
using kelvane::CertStoreDump;
using kelvane::CertStoreFind;

class CertStoreTest : public RecordingTest {
 protected:
  CertStoreTest() { CertStoreClear(); }
  ~CertStoreTest() override {
    no_buffer = no_writing = no_terminator = no_digest = false;
    CertStoreClear();
  }

  static const uint8_t *bytes(const std::string &id) { return reinterpret_cast<const uint8_t *>(id.data()); }

  // The store takes what it is given: both hand over a reference of their own.
  static void add(const std::string &id, const Certificate &certificate) {
    X509_up_ref(certificate.get());
    kelvane::CertStoreCert(bytes(id), id.size(), certificate.get());
  }
  static void add(const std::string &id, const Key &key) {
    EVP_PKEY_up_ref(key.get());
    kelvane::CertStoreKey(bytes(id), id.size(), key.get());
  }

  // 1 and what was found, or 0 and the two marks that were there before.
  int32_t find(const std::string &thumbprint) {
    found_certificate_ = reinterpret_cast<X509 *>(0x10);
    found_key_ = reinterpret_cast<EVP_PKEY *>(0x20);
    return CertStoreFind(thumbprint.c_str(), &found_certificate_, &found_key_);
  }

  static std::string dumped() {
    recording::clear_trace();
    CertStoreDump();
    return recording::log_text();
  }

  X509 *found_certificate_ = nullptr;
  EVP_PKEY *found_key_ = nullptr;
};

Certificate make(const std::string &name, size_t key = 1) {
  return containers::certificate(containers::rsa_key(key), name);
}

TEST_F(CertStoreTest, FindsACertificateAndItsKeyByThumbprint) {
  const Certificate certificate = make("one");
  add("id", certificate);
  add("id", containers::rsa_key(1));
  EXPECT_EQ(find(containers::thumbprint(certificate)), 1);
  EXPECT_EQ(found_certificate_, certificate.get());
  EXPECT_EQ(found_key_, containers::rsa_key(1).get());
}

TEST_F(CertStoreTest, FindLendsWhatThereIs) {
  const Certificate certificate = make("lone");
  add("id", certificate);
  EXPECT_EQ(find(containers::thumbprint(certificate)), 1);
  EXPECT_EQ(found_certificate_, certificate.get());
  EXPECT_EQ(found_key_, nullptr);
}

TEST_F(CertStoreTest, AKeyWithoutCertificateHasAnEmptyThumbprint) {
  add("id", containers::rsa_key(1));
  EXPECT_EQ(find(""), 1);
  EXPECT_EQ(found_certificate_, nullptr);
  EXPECT_EQ(found_key_, containers::rsa_key(1).get());
}

TEST_F(CertStoreTest, FindComparesExactlyAndLeavesTheOutputsAlone) {
  const Certificate certificate = make("case");
  add("id", certificate);
  const std::string thumbprint = containers::thumbprint(certificate);
  std::string lower;
  for (const char c : thumbprint) {
    lower += static_cast<char>(tolower(c));
  }
  ASSERT_NE(lower, thumbprint);
  for (const std::string &text : {lower, thumbprint.substr(0, 39), thumbprint + "0", std::string("none")}) {
    EXPECT_EQ(find(text), 0) << text;
    EXPECT_EQ(found_certificate_, reinterpret_cast<X509 *>(0x10));
    EXPECT_EQ(found_key_, reinterpret_cast<EVP_PKEY *>(0x20));
  }
}

TEST_F(CertStoreTest, FindOnAnEmptyStoreFindsNothing) {
  EXPECT_EQ(find(""), 0);
  EXPECT_EQ(find("00"), 0);
}

TEST_F(CertStoreTest, TheFirstCertificateAndTheFirstKeyOfAKeyIdStay) {
  const Certificate first = make("first");
  const Certificate second = make("second");
  add("id", first);
  add("id", second);
  add("id", containers::rsa_key(1));
  add("id", containers::rsa_key(2));
  EXPECT_EQ(find(containers::thumbprint(second)), 0);
  EXPECT_EQ(find(containers::thumbprint(first)), 1);
  EXPECT_EQ(found_certificate_, first.get());
  EXPECT_EQ(found_key_, containers::rsa_key(1).get());
  EXPECT_EQ(dumped().substr(dumped().rfind("End")), "End Dump 1 certificate(s)\n");
}

TEST_F(CertStoreTest, KeyIdsAreToldApartByLengthAndByBytes) {
  add("ab", make("ab"));
  add("abc", make("abc"));
  add("abd", make("abd"));
  add(std::string("a\0b", 3), make("zero"));
  add(std::string("a\0c", 3), make("zero too"));
  add("abc", containers::rsa_key(1));
  EXPECT_EQ(find(containers::thumbprint(make("x"))), 0);
  EXPECT_THAT(dumped(), ::testing::HasSubstr("[1] Cert 1 Key 1\n"));
  EXPECT_THAT(dumped(), ::testing::HasSubstr("[0] Cert 1 Key 0\n"));
  EXPECT_THAT(dumped(), ::testing::HasSubstr("[4] Cert 1 Key 0\n"));
  EXPECT_THAT(dumped(), ::testing::HasSubstr("End Dump 5 certificate(s)\n"));
}

TEST_F(CertStoreTest, The21stKeyIdIsIgnored) {
  std::vector<Certificate> certificates;
  for (int i = 0; i < 22; i++) {
    certificates.push_back(make("number " + std::to_string(i)));
    add("id " + std::to_string(i), certificates.back());
  }
  add("id 19", containers::rsa_key(1));
  add("id 20", containers::rsa_key(1));
  EXPECT_EQ(find(containers::thumbprint(certificates[19])), 1);
  EXPECT_EQ(found_key_, containers::rsa_key(1).get());
  EXPECT_EQ(find(containers::thumbprint(certificates[20])), 0);
  EXPECT_EQ(find(containers::thumbprint(certificates[21])), 0);
  EXPECT_THAT(dumped(), ::testing::HasSubstr("End Dump 20 certificate(s)\n"));
  EXPECT_EQ(recording::calls(), Lines{});
}

TEST_F(CertStoreTest, TheStoreTakesOwnershipInEveryCase) {
  const Certificate kept = make("kept");
  const Certificate refused = make("refused");
  add("id", kept);
  add("id", refused);
  CertStoreClear();
  // Only the references of this test are left: these are the last ones, and the sanitizer would see a double free.
  EXPECT_EQ(kept.use_count(), 1);
  EXPECT_EQ(containers::thumbprint(kept).size(), 40u);
  EXPECT_EQ(containers::thumbprint(refused).size(), 40u);
}

TEST_F(CertStoreTest, ClearEmptiesTheStoreForReuse) {
  const Certificate certificate = make("again");
  add("id", certificate);
  add("id", containers::rsa_key(1));
  CertStoreClear();
  EXPECT_EQ(find(containers::thumbprint(certificate)), 0);
  EXPECT_EQ(dumped(), "End Dump 0 certificate(s)\n");
  CertStoreClear();
  add("id", containers::rsa_key(2));
  EXPECT_THAT(dumped(), ::testing::StartsWith("[0] Fingerprint \n[0] Cert 0 Key 1\n[0] Key\n"));
}

TEST_F(CertStoreTest, ACertificateWhoseDigestFailsIsKeptWithoutThumbprint) {
  no_digest = true;
  add("id", make("undigested"));
  EXPECT_EQ(find(""), 1);
  EXPECT_NE(found_certificate_, nullptr);
}

TEST_F(CertStoreTest, NothingIsLoggedButByTheDump) {
  recording::set_debug_level(100);
  add("id", make("quiet"));
  add("id", make("quiet again"));
  find("nothing");
  CertStoreClear();
  EXPECT_EQ(recording::trace(), Lines{});
}

TEST_F(CertStoreTest, DumpOfAnEmptyStoreIsItsLastLine) {
  CertStoreDump();
  EXPECT_EQ(recording::messages(), Lines{"End Dump 0 certificate(s)\n"});
}

TEST_F(CertStoreTest, DumpPrintsEveryRecordAtEveryDebugLevel) {
  const Certificate first = make("first");
  add("1", first);
  add("1", containers::rsa_key(1));
  add("2", containers::rsa_key(2));
  recording::set_debug_level(0);
  CertStoreDump();
  const Lines expected = {
      "[0] Fingerprint " + containers::thumbprint(first) + "\n",
      "[0] Cert 1 Key 1\n",
      "[0] Certificate\n" + containers::pem(first) + "\n",
      "[0] Key\n" + containers::pem(containers::rsa_key(1)) + "\n",
      "[1] Fingerprint \n",
      "[1] Cert 0 Key 1\n",
      "[1] Key\n" + containers::pem(containers::rsa_key(2)) + "\n",
      "End Dump 2 certificate(s)\n",
  };
  EXPECT_EQ(recording::messages(), expected);
  recording::clear_trace();
  recording::set_debug_record_present(false);
  CertStoreDump();
  EXPECT_EQ(recording::messages(), expected);
}

TEST_F(CertStoreTest, DumpWritesKeysIntoMemoryThatIsWiped) {
  add("1", containers::rsa_key(1));
  buffer_type = nullptr;
  CertStoreDump();
  EXPECT_EQ(buffer_type, BIO_s_secmem());
}

TEST_F(CertStoreTest, DumpSaysWhatCannotBeWritten) {
  add("1", make("unwritable"));
  add("1", containers::rsa_key(1));
  for (bool *failing : {&no_writing, &no_terminator}) {
    recording::clear_trace();
    *failing = true;
    CertStoreDump();
    *failing = false;
    EXPECT_EQ(Lines(recording::messages().begin() + 1, recording::messages().end()),
              (Lines{"[0] Cert 1 Key 1\n", "[0] Certificate bio failed\n", "[0] Certificate Key bio failed\n",
                     "End Dump 1 certificate(s)\n"}));
  }
}

TEST_F(CertStoreTest, DumpWithoutMemoryIsSilentAboutKeysOnly) {
  add("1", make("no memory"));
  add("1", containers::rsa_key(1));
  recording::clear_trace();
  no_buffer = true;
  CertStoreDump();
  EXPECT_EQ(Lines(recording::messages().begin() + 1, recording::messages().end()),
            (Lines{"[0] Cert 1 Key 1\n", "[0] Certificate bio failed\n", "End Dump 1 certificate(s)\n"}));
}

}  // namespace
