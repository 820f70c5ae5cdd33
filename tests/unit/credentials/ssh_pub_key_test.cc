// The SSH public key store: candidates, selection, installing, with the recording platform's account call.
#include "credentials/ssh_pub_key.h"

#include <openssl/pem.h>

#include "tests/support/recording_fixture.h"
#include "tests/unit/credentials/containers.h"

extern "C" {
BIO *__real_BIO_new_mem_buf(const void *bytes, int length);
BIO *__wrap_BIO_new_mem_buf(const void *bytes, int length);
}

namespace {

// 0: as asked. Otherwise the length that the memory source gets instead; below 0: no source at all.
int other_length = 0;
int asked_length = 0;

}  // namespace

BIO *__wrap_BIO_new_mem_buf(const void *bytes, int length) {
  asked_length = length;
  if (other_length < 0) {
    return nullptr;
  }
  return __real_BIO_new_mem_buf(bytes, other_length == 0 ? length : other_length);
}

namespace {

using kelvane::SSHPubKeyAdd;
using kelvane::SSHPubKeyFlag;
using kelvane::SSHPubKeySet;

class SshPubKeyTest : public RecordingTest {
 protected:
  SshPubKeyTest() {
    SSHPubKeySet("nobody");
    recording::reset();
  }
  ~SshPubKeyTest() override { other_length = 0; }

  static Lines installed(const std::string &user = "user") {
    recording::clear_trace();
    SSHPubKeySet(user.c_str());
    return recording::calls();
  }

  static std::string number(int i) { return (i < 10 ? "0" : "") + std::to_string(i); }
  static void fill(int count, int32_t selected = 0) {
    for (int i = 1; i <= count; i++) {
      SSHPubKeyAdd(("key " + number(i)).c_str(), ("finger " + number(i)).c_str(), selected);
    }
  }
};

// ---- adding ----

TEST_F(SshPubKeyTest, KeepsCopiesOfWhatItIsGiven) {
  std::string key = "ssh-rsa AAAA";
  std::string fingerprint = "ABCD";
  SSHPubKeyAdd(key.c_str(), fingerprint.c_str(), 1);
  key = fingerprint = "xxxxxxxxxxxx";
  EXPECT_EQ(installed(), Lines{"ssh_pubkey_data_set(\"user\", \"ssh-rsa AAAA\", 1)"});
}

TEST_F(SshPubKeyTest, ReceivingAFingerprintIsTraced) {
  recording::set_debug_level(7);
  SSHPubKeyAdd("key", "ABCD", 0);
  SSHPubKeyAdd("another key", nullptr, 0);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: Received ABCD certificate fingerprint\n"});
  recording::clear_trace();
  recording::set_debug_level(6);
  SSHPubKeyAdd("third key", "EF01", 0);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(SshPubKeyTest, The19thCandidateIsStoredAndThe20thRefused) {
  recording::set_debug_level(3);
  fill(18);
  SSHPubKeyAdd("key 19", "finger 19", 1);
  EXPECT_EQ(recording::messages(), Lines{});
  EXPECT_EQ(SSHPubKeyAdd("key 20", "finger 20", 1), 0);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: ssh public key array is full.\n"});
  EXPECT_EQ(installed(), Lines{"ssh_pubkey_data_set(\"user\", \"key 19\", 1)"});
}

TEST_F(SshPubKeyTest, AFullStoreIsReportedAboveLevel2AndBeforeAnythingElse) {
  fill(19);
  recording::set_debug_level(2);
  SSHPubKeyAdd("key 01", "finger 01", 1);
  EXPECT_EQ(recording::messages(), Lines{});
  recording::set_debug_level(7);
  SSHPubKeyAdd("key 01", "finger 01", 1);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: ssh public key array is full.\n"});
}

TEST_F(SshPubKeyTest, ADuplicateFingerprintIsRefusedInAnyCase) {
  recording::set_debug_level(5);
  SSHPubKeyAdd("key", "ABCD", 0);
  SSHPubKeyAdd("between", "1234", 0);
  EXPECT_EQ(SSHPubKeyAdd("another key", "abcd", 1), 0);
  SSHPubKeyAdd("third key", "1234", 1);
  EXPECT_EQ(recording::messages(),
            (Lines{"[kelvane]: Fingerprint abcd is duplicate\n", "[kelvane]: Fingerprint 1234 is duplicate\n"}));
  EXPECT_EQ(installed(), Lines{});
}

TEST_F(SshPubKeyTest, ADuplicateKeyIsRefusedInAnyCase) {
  recording::set_debug_level(5);
  SSHPubKeyAdd("ssh-rsa AAAA", "one", 0);
  EXPECT_EQ(SSHPubKeyAdd("SSH-RSA aaaa", "two", 1), 0);
  SSHPubKeyAdd("ssh-rsa AAAA", nullptr, 1);
  EXPECT_EQ(recording::messages(), (Lines{"[kelvane]: Pubkey is duplicate\n", "[kelvane]: Pubkey is duplicate\n"}));
  EXPECT_EQ(installed(), Lines{});
}

TEST_F(SshPubKeyTest, DuplicatesAreSilentAtLevel4) {
  recording::set_debug_level(4);
  SSHPubKeyAdd("key", "ABCD", 0);
  SSHPubKeyAdd("another key", "ABCD", 0);
  SSHPubKeyAdd("key", "1234", 0);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(SshPubKeyTest, KeysWithoutFingerprintAreToldApartByTheirText) {
  SSHPubKeyAdd("one", nullptr, 1);
  SSHPubKeyAdd("two", nullptr, 1);
  SSHPubKeyAdd("two", nullptr, 1);
  EXPECT_EQ(installed(),
            (Lines{"ssh_pubkey_data_set(\"user\", \"one\", 1)", "ssh_pubkey_data_set(\"user\", \"two\", 2)"}));
}

TEST_F(SshPubKeyTest, ThePlaceholderIsAFingerprintLikeAnyOther) {
  recording::set_debug_level(5);
  SSHPubKeyAdd("one", nullptr, 0);
  SSHPubKeyAdd("two", "<NONE>", 1);
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: Fingerprint <NONE> is duplicate\n"});
  SSHPubKeyFlag("<none>");
  EXPECT_EQ(installed(), Lines{"ssh_pubkey_data_set(\"user\", \"one\", 1)"});
}

// ---- selecting ----

TEST_F(SshPubKeyTest, FlagSelectsByFingerprintInAnyCase) {
  SSHPubKeyAdd("one", "ABCDEF", 0);
  SSHPubKeyAdd("two", "FEDCBA", 0);
  recording::set_debug_level(7);
  recording::clear_trace();
  SSHPubKeyFlag("fedcba");
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: PubKey Fingerprint found - fedcba\n"});
  recording::set_debug_level(6);
  SSHPubKeyFlag("fedcba");
  EXPECT_EQ(recording::messages().size(), 1u);
  EXPECT_EQ(installed(), Lines{"ssh_pubkey_data_set(\"user\", \"two\", 1)"});
}

TEST_F(SshPubKeyTest, FlagSelectsOnlyTheFirstOfEqualFingerprints) {
  SSHPubKeyAdd("one", nullptr, 0);
  SSHPubKeyAdd("two", nullptr, 0);
  SSHPubKeyFlag("<none>");
  EXPECT_EQ(installed(), Lines{"ssh_pubkey_data_set(\"user\", \"one\", 1)"});
}

TEST_F(SshPubKeyTest, FlagReportsAnUnknownFingerprintAboveLevel2) {
  SSHPubKeyAdd("one", "ABCDEF", 0);
  recording::set_debug_level(3);
  SSHPubKeyFlag("ABCDE");
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: PubKey Fingerprint not found - ABCDE\n"});
  recording::set_debug_level(2);
  SSHPubKeyFlag("ABCDE");
  EXPECT_EQ(recording::messages().size(), 1u);
  EXPECT_EQ(installed(), Lines{});
}

// ---- installing ----

TEST_F(SshPubKeyTest, OfFiveSelectedKeysTheFirstThreeAreInstalled) {
  fill(5, 1);
  EXPECT_EQ(installed(),
            (Lines{"ssh_pubkey_data_set(\"user\", \"key 01\", 1)", "ssh_pubkey_data_set(\"user\", \"key 02\", 2)",
                   "ssh_pubkey_data_set(\"user\", \"key 03\", 3)"}));
  EXPECT_EQ(installed(), Lines{}) << "the store is empty now";
}

TEST_F(SshPubKeyTest, UnselectedKeysTakeNoSlot) {
  SSHPubKeyAdd("one", "1", 0);
  SSHPubKeyAdd("two", "2", 1);
  SSHPubKeyAdd("three", "3", 0);
  SSHPubKeyAdd("four", "4", 1);
  EXPECT_EQ(installed(),
            (Lines{"ssh_pubkey_data_set(\"user\", \"two\", 1)", "ssh_pubkey_data_set(\"user\", \"four\", 2)"}));
}

TEST_F(SshPubKeyTest, ASelectedCandidateWithoutAKeyTakesNoSlot) {
  SSHPubKeyAdd(nullptr, "finger", 1);
  EXPECT_EQ(installed(), Lines{});
}

TEST_F(SshPubKeyTest, AnEntryWhoseWriteFailedUsesUpItsSlot) {
  fill(4, 1);
  recording::set_ssh_result(1, -5);
  recording::set_ssh_result(3, 8);
  recording::set_debug_level(7);
  EXPECT_EQ(installed("bob").size(), 3u);
  EXPECT_EQ(recording::messages(),
            (Lines{"[kelvane]: Setting SSH PubKey for bob => -5\n", "[kelvane]: Setting SSH PubKey for bob => 0\n",
                   "[kelvane]: Setting SSH PubKey for bob => 8\n"}));
  EXPECT_EQ(recording::ssh_key("bob", 2), "key 02");
}

TEST_F(SshPubKeyTest, InstallingIsSilentAtLevel6) {
  fill(1, 1);
  recording::set_ssh_result(1, -5);
  recording::set_debug_level(6);
  EXPECT_EQ(installed().size(), 1u);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(SshPubKeyTest, TheStoreIsFilledAnewAfterwards) {
  fill(19, 1);
  installed();
  // 16 entries were not reached; none of them stands in the way of the same keys coming again.
  recording::set_debug_level(5);
  fill(19, 1);
  EXPECT_EQ(recording::messages(), Lines{});
  SSHPubKeyFlag("finger 19");
  EXPECT_EQ(installed().size(), 3u);
}

TEST_F(SshPubKeyTest, EntriesThatWereNotReachedAreForgotten) {
  fill(5, 1);
  installed();
  recording::set_debug_level(3);
  SSHPubKeyFlag("finger 05");
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: PubKey Fingerprint not found - finger 05\n"});
}

// ---- the direct setters ----

TEST_F(SshPubKeyTest, SetFromKeyTakesTheFirstSlotThatAccepts) {
  EXPECT_EQ(kelvane::SSHPubKeySetFromKey("user", "key"), 0);
  EXPECT_EQ(recording::calls(), Lines{"ssh_pubkey_data_set(\"user\", \"key\", 1)"});
}

TEST_F(SshPubKeyTest, SetFromKeyGoesOnToTheThirdSlot) {
  recording::set_ssh_result(1, -1);
  recording::set_ssh_result(2, 7);
  EXPECT_EQ(kelvane::SSHPubKeySetFromKey("user", "key"), 0);
  EXPECT_EQ(recording::calls().size(), 3u);
  EXPECT_EQ(recording::ssh_key("user", 3), "key");
}

TEST_F(SshPubKeyTest, SetFromKeyGivesTheLastResultWhenNoSlotAccepts) {
  recording::set_ssh_result(1, -1);
  recording::set_ssh_result(2, -2);
  recording::set_ssh_result(3, -3);
  EXPECT_EQ(kelvane::SSHPubKeySetFromKey("user", "key"), -3);
  recording::set_ssh_result(3, 9);
  EXPECT_EQ(kelvane::SSHPubKeySetFromKey("user", "key"), 9);
  EXPECT_EQ(recording::calls().size(), 6u);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(SshPubKeyTest, SetFromCertReadsOneByteAndFailsForEveryInput) {
  const std::string pem = containers::pem(containers::certificate(containers::rsa_key(1), "user"));
  for (const std::string &text : {pem, std::string("nonsense"), std::string("-")}) {
    asked_length = 0;
    EXPECT_EQ(kelvane::SSHPubKeySetFromCert("user", text.c_str()), -1);
    EXPECT_EQ(asked_length, 1);
  }
  EXPECT_EQ(recording::trace(), Lines{});
}

TEST_F(SshPubKeyTest, SetFromCertWithoutAMemorySourceFails) {
  other_length = -1;
  EXPECT_EQ(kelvane::SSHPubKeySetFromCert("user", "text"), -1);
}

TEST_F(SshPubKeyTest, SetFromCertWouldInstallTheKeyHadItTheWholeText) {
  const std::string pem = containers::pem(containers::certificate(containers::rsa_key(1), "user"));
  other_length = static_cast<int>(pem.size());
  recording::set_ssh_result(1, 4);
  EXPECT_EQ(kelvane::SSHPubKeySetFromCert("user", pem.c_str()), 0);
  EXPECT_EQ(recording::ssh_key("user", 2), containers::ssh_key(containers::rsa_key(1)));
  const std::string other = containers::pem(containers::certificate(containers::ec_key(), "user"));
  other_length = static_cast<int>(other.size());
  recording::clear_trace();
  EXPECT_EQ(kelvane::SSHPubKeySetFromCert("user", other.c_str()), -1);
  EXPECT_EQ(recording::trace(), Lines{});
}

}  // namespace
