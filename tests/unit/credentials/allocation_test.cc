// Each of the room's own allocations fails once: nothing crashes, nothing leaks, and the next run is a good one.
#include <cstdlib>

#include "credentials/base64_text.h"
#include "credentials/cert_store.h"
#include "credentials/pkcs12_walk.h"
#include "credentials/ssh_key_text.h"
#include "credentials/ssh_pub_key.h"
#include "credentials/transport_cert.h"
#include "tests/support/recording_fixture.h"
#include "tests/unit/credentials/containers.h"

extern "C" {
void *__real_malloc(size_t size);
void *__wrap_malloc(size_t size);
void __real_free(void *memory);
void __wrap_free(void *memory);
}

namespace {

bool counting = false;
int allocations = 0;
int failing = 0;  // the one that fails, counted from 1; 0: none
int freed = 0;

}  // namespace

// Only the calls of code that is linked into this program come here, not those of the libraries.
void *__wrap_malloc(size_t size) {
  if (counting && ++allocations == failing) {
    return nullptr;
  }
  return __real_malloc(size);
}
void __wrap_free(void *memory) {
  freed += counting && memory != nullptr ? 1 : 0;
  __real_free(memory);
}

namespace {

class AllocationTest : public RecordingTest {
 protected:
  AllocationTest() {
    kelvane::SSHPubKeySet("nobody");
    recording::reset();
  }
  ~AllocationTest() override {
    counting = false;
    kelvane::CertStoreClear();
    kelvane::SSHPubKeySet("nobody");
    kelvane::TransportCertCleanup();
  }

  // Runs the action with its n-th allocation failing; tells how many it made.
  template <typename Action>
  static int with_failure(int nth, Action action) {
    failing = nth;
    allocations = 0;
    freed = 0;
    counting = true;
    action();
    counting = false;
    return allocations;
  }

  static bool stored(const containers::Certificate &certificate) {
    X509 *found = nullptr;
    EVP_PKEY *key = nullptr;
    return kelvane::CertStoreFind(containers::thumbprint(certificate).c_str(), &found, &key) == 1;
  }
};

TEST_F(AllocationTest, AKeyIdThatCannotBeCopiedMakesNoRecord) {
  const containers::Certificate certificate = containers::certificate(containers::rsa_key(1), "tenant");
  const uint8_t id[] = {1, 2, 3};
  X509_up_ref(certificate.get());
  EXPECT_EQ(with_failure(1, [&] { kelvane::CertStoreCert(id, sizeof id, certificate.get()); }), 1);
  EXPECT_FALSE(stored(certificate));
  EVP_PKEY_up_ref(containers::rsa_key(1).get());
  EXPECT_EQ(with_failure(1, [&] { kelvane::CertStoreKey(id, sizeof id, containers::rsa_key(1).get()); }), 1);
  kelvane::CertStoreDump();
  EXPECT_EQ(recording::messages(), Lines{"End Dump 0 certificate(s)\n"});
  X509_up_ref(certificate.get());
  EXPECT_EQ(with_failure(0, [&] { kelvane::CertStoreCert(id, sizeof id, certificate.get()); }), 1);
  EXPECT_TRUE(stored(certificate));
}

TEST_F(AllocationTest, ACandidateCountsOnlyWhenBothItsTextsWereCopied) {
  for (int nth = 1; nth <= 2; nth++) {
    with_failure(nth, [] { EXPECT_EQ(kelvane::SSHPubKeyAdd("key", "finger", 1), -1); });
    kelvane::SSHPubKeySet("user");
    EXPECT_EQ(recording::calls(), Lines{}) << nth;
    with_failure(nth, [] { EXPECT_EQ(kelvane::SSHPubKeyAdd("key", nullptr, 1), -1); });
    kelvane::SSHPubKeyFlag("<none>");
    kelvane::SSHPubKeySet("user");
    EXPECT_EQ(recording::calls(), Lines{}) << nth;
  }
  EXPECT_EQ(with_failure(0, [] { kelvane::SSHPubKeyAdd("key", "finger", 1); }), 2);
  kelvane::SSHPubKeySet("user");
  EXPECT_EQ(recording::calls(), Lines{"ssh_pubkey_data_set(\"user\", \"key\", 1)"});
}

TEST_F(AllocationTest, InstallingFreesTheCandidatesUpToTheThirdInstalledOne) {
  kelvane::SSHPubKeyAdd("one", "1", 1);
  kelvane::SSHPubKeyAdd("two", "2", 0);
  kelvane::SSHPubKeyAdd("three", "3", 1);
  kelvane::SSHPubKeyAdd("four", "4", 1);
  kelvane::SSHPubKeyAdd("five", "5", 1);
  with_failure(0, [] { kelvane::SSHPubKeySet("user"); });
  EXPECT_EQ(freed, 8) << "a key and a fingerprint each; those of the fifth stay";
  with_failure(0, [] { kelvane::SSHPubKeySet("user"); });
  EXPECT_EQ(freed, 0);
}

TEST_F(AllocationTest, AnSshKeyWithoutMemoryYieldsNothing) {
  const containers::Certificate certificate = containers::certificate(containers::rsa_key(1), "tenant");
  kelvane::Text text;
  for (int nth = 1; nth <= 2; nth++) {
    EXPECT_EQ(with_failure(nth, [&] { kelvane::makeSSHKey(certificate.get(), nullptr, &text); }), nth);
    EXPECT_FALSE(text.present());
  }
  EXPECT_EQ(with_failure(0, [&] { kelvane::makeSSHKey(certificate.get(), nullptr, &text); }), 2);
  EXPECT_TRUE(text.present());
}

TEST_F(AllocationTest, AWalkSurvivesEachOfItsAllocations) {
  const containers::Certificate first = containers::certificate(containers::rsa_key(1), "first");
  const containers::Certificate second = containers::certificate(containers::rsa_key(2), "second");
  const containers::Container container = containers::container(
      {containers::data_content({containers::certificate_bag(first, containers::local_key_id("1")),
                                 containers::key_bag(containers::rsa_key(1), containers::local_key_id("1")),
                                 containers::certificate_bag(second, containers::local_key_id("2"))})});
  const auto walk = [&] { kelvane::ProcessPKCS12(container.get(), kelvane::SSHPubKeyAdd); };
  const int all = with_failure(0, walk);
  kelvane::SSHPubKeySet("nobody");
  EXPECT_EQ(all, 10) << "two records, two keys with blob and text, two candidates with two texts";
  for (int nth = 1; nth <= all; nth++) {
    with_failure(nth, walk);
    EXPECT_TRUE(stored(first) || stored(second)) << nth;
    kelvane::SSHPubKeySet("nobody");
  }
  walk();
  EXPECT_TRUE(stored(first));
  EXPECT_TRUE(stored(second));
}

TEST_F(AllocationTest, ATransportCertificateWithoutMemoryForItsTextIsKept) {
  int32_t result = -5;
  // The one allocation of ours is the text's; the platform of this test makes none in between.
  const int all = with_failure(0, [&] { result = kelvane::TransportCertMake(); });
  EXPECT_EQ(result, 0);
  ASSERT_EQ(with_failure(all, [&] { result = kelvane::TransportCertMake(); }), all);
  EXPECT_EQ(result, 0);
  kelvane::TransportCert transport = {};
  kelvane::TransportCertGet(&transport);
  EXPECT_NE(transport.key, nullptr);
  EXPECT_NE(transport.certificate, nullptr);
  EXPECT_EQ(transport.encoded_certificate, nullptr);
}

TEST_F(AllocationTest, Base64LeavesTheTextAloneWhenItFails) {
  kelvane::Text text;
  ASSERT_EQ(kelvane::text_copy(&text, "before"), 0);
  const uint8_t bytes[] = {'M', 'a', 'n'};
  with_failure(1, [&] { EXPECT_EQ(kelvane::base64_text(&text, "p ", bytes, 3), -1); });
  EXPECT_STREQ(text.get(), "before");
  EXPECT_EQ(kelvane::base64_text(&text, "p ", bytes, 0), -1);
  EXPECT_EQ(kelvane::base64_text(&text, "p ", bytes, (size_t{1} << 30) + 1), -1);
  EXPECT_STREQ(text.get(), "before");
  EXPECT_EQ(kelvane::base64_text(&text, "p ", bytes, 3), 0);
  EXPECT_STREQ(text.get(), "p TWFu");
  EXPECT_EQ(kelvane::base64_text(&text, "", bytes, 2), 0);
  EXPECT_STREQ(text.get(), "TWE=");
  EXPECT_EQ(kelvane::base64_text(&text, "", bytes, 1), 0);
  EXPECT_STREQ(text.get(), "TQ==");
}

}  // namespace
