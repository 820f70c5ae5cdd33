// Passwords, the password policy, and SSH keys.
#include <crypt.h>
#include <openssl/bn.h>
#include <openssl/rsa.h>

#include <cstring>
#include <memory>

#include "tests/platform/conformance.h"
#include "tests/support/base64.h"

namespace conformance {
namespace {

using Accounts = ConnectedPlatform;

// Whether the stored form is one of the password, as whoever logs in there will find out.
::testing::AssertionResult is_stored_form(const char *password, const std::string &stored) {
  const char *again = crypt(password, stored.c_str());
  if (again != nullptr && stored == again) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << "\"" << stored << "\" hashes to \"" << (again == nullptr ? "" : again)
                                       << "\"";
}

std::string stored_form(const char *password) {
  const char *made = make_new_passwd(password, 0);
  EXPECT_NE(nullptr, made);
  return made == nullptr ? "" : made;
}

TEST(Passwords, StoredFormFitsTheRecordAndHidesThePassword) {
  const std::string stored = stored_form("Correct horse 7");
  EXPECT_GE(128u, stored.size());
  EXPECT_FALSE(stored.empty());
  EXPECT_EQ(std::string::npos, stored.find("horse"));
}

TEST(Passwords, StoredFormIsDifferentEachTime) {
  EXPECT_NE(stored_form("Correct 7"), stored_form("Correct 7"));
}

TEST(Passwords, StoredFormFitsItsPasswordOnly) {
  const std::string stored = stored_form("Correct horse 7");
  EXPECT_TRUE(is_stored_form("Correct horse 7", stored));
  EXPECT_FALSE(is_stored_form("Correct horse 8", stored));
}

TEST(Passwords, EmptyOneHasAStoredForm) {
  EXPECT_TRUE(is_stored_form("", stored_form("")));
}

TEST(Passwords, AnyBytesHaveAStoredForm) {
  std::string every;
  for (int byte = 1; byte < 256; ++byte) {
    every.push_back(static_cast<char>(byte));
  }
  EXPECT_TRUE(is_stored_form(every.c_str(), stored_form(every.c_str())));
  for (int round = 0; round < 4; ++round) {
    char random[65] = {};
    ASSERT_EQ(0, get_rnd_bytes(random, 64));
    EXPECT_TRUE(is_stored_form(random, stored_form(random)));
  }
}

TEST(Passwords, NoPasswordHasNone) {
  EXPECT_EQ(nullptr, make_new_passwd(nullptr, 0));
}

TEST(Passwords, EndlessOneDoesNoHarm) {
  const std::string endless(100000, 'x');
  const char *made = make_new_passwd(endless.c_str(), 0);
  EXPECT_TRUE(made == nullptr || strlen(made) <= 128);
}

struct Verdict {
  int32_t result;
  std::string reason;
};

Verdict check(const char *name, const char *password) {
  const ncfg_account record = new_account(name, "");
  char reason[512];
  memset(reason, 'z', sizeof reason);
  const int32_t result = check_passwd_policy(&record, password, reason, sizeof reason);
  EXPECT_NE(nullptr, memchr(reason, 0, sizeof reason));
  return {result, std::string(reason, strnlen(reason, sizeof reason))};
}

TEST_F(Accounts, PolicyAcceptsAStrongPassword) {
  EXPECT_EQ(0, check("guest", "vR7#qTz!92_mLp").result);
}

TEST_F(Accounts, PolicyRefusesWeakPasswords) {
  for (const char *weak : {"", "a", "short1!", "aaaaaaaaaaaaaaaa", "guest", "GUEST"}) {
    EXPECT_NE(0, check("guest", weak).result) << weak;
  }
}

TEST_F(Accounts, PolicyReasonIsCutToItsRoom) {
  const ncfg_account guest = new_account("guest", "");
  char reason[8];
  memset(reason, 'z', sizeof reason);
  EXPECT_NE(0, check_passwd_policy(&guest, "a", reason, 4));
  EXPECT_NE(nullptr, memchr(reason, 0, 4));
  EXPECT_EQ('z', reason[4]);
  EXPECT_NE(0, check_passwd_policy(&guest, "a", reason, 0));
  EXPECT_NE(0, check_passwd_policy(&guest, "a", nullptr, 0));
}

TEST_F(Accounts, PolicyTakesNoNoticeOfThePasswordField) {
  ncfg_account guest = new_account("guest", "");
  memset(guest.password, 'p', sizeof guest.password);
  char reason[512];
  EXPECT_EQ(0, check_passwd_policy(&guest, "vR7#qTz!92_mLp", reason, sizeof reason));
}

TEST_F(Accounts, PolicyBookkeepingLeavesTheRecordUsable) {
  ncfg_account guest = new_account("guest", stored_form("vR7#qTz!92_mLp").c_str());
  passwd_policy_save_info(&guest);
  EXPECT_STREQ("guest", guest.name);
  EXPECT_TRUE(is_stored_form("vR7#qTz!92_mLp", guest.password));
  cmf_query *query = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  EXPECT_EQ(0, cmf_query_table_append(query, &guest));
  cmf_query_free(query);
  EXPECT_EQ(0, write_config());
}

TEST_F(Accounts, PolicyAcceptsThePresentPasswordAgain) {
  ncfg_account guest = new_account("guest", stored_form("vR7#qTz!92_mLp").c_str());
  passwd_policy_save_info(&guest);
  cmf_query *query = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  ASSERT_EQ(0, cmf_query_table_append(query, &guest));
  cmf_query_free(query);
  ASSERT_EQ(0, write_config());
  EXPECT_EQ(0, check("guest", "vR7#qTz!92_mLp").result);
}

// ---- SSH keys ----

void put_field(std::string &blob, const std::string &field) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    blob.push_back(static_cast<char>((field.size() >> shift) & 0xff));
  }
  blob += field;
}

std::string number(const BIGNUM *value) {
  std::string bytes(static_cast<size_t>(BN_num_bytes(value)), '\0');
  BN_bn2bin(value, reinterpret_cast<unsigned char *>(bytes.data()));
  return (bytes[0] & 0x80) != 0 ? std::string(1, '\0') + bytes : bytes;
}

std::string rsa_blob(const std::string &type = "ssh-rsa") {
  const std::unique_ptr<RSA, decltype(&RSA_free)> key(generate_RSA_key(2048, 65537, nullptr, nullptr), &RSA_free);
  const BIGNUM *modulus = nullptr;
  const BIGNUM *exponent = nullptr;
  RSA_get0_key(key.get(), &modulus, &exponent, nullptr);
  std::string blob;
  put_field(blob, type);
  put_field(blob, number(exponent));
  put_field(blob, number(modulus));
  return blob;
}

TEST_F(Accounts, KeyGoesIntoEachOfThreeSlots) {
  const std::string key = "ssh-rsa " + support::base64(rsa_blob());
  for (const int32_t slot : {1, 2, 3}) {
    EXPECT_EQ(0, ssh_pubkey_data_set("admin", key.c_str(), slot)) << slot;
    EXPECT_EQ(0, ssh_pubkey_data_set("admin", (key + " some one@host").c_str(), slot)) << slot;
  }
  for (const int32_t slot : {0, 4, -1, 256}) {
    EXPECT_NE(0, ssh_pubkey_data_set("admin", key.c_str(), slot)) << slot;
  }
}

TEST_F(Accounts, KeyMayEndWithALineEnd) {
  EXPECT_EQ(0, ssh_pubkey_data_set("admin", ("ssh-rsa " + support::base64(rsa_blob()) + "\r\n").c_str(), 1));
}

TEST_F(Accounts, KeyNeedsAnAccount) {
  const std::string key = "ssh-rsa " + support::base64(rsa_blob());
  EXPECT_NE(0, ssh_pubkey_data_set("nobody", key.c_str(), 1));
  EXPECT_NE(0, ssh_pubkey_data_set("", key.c_str(), 1));
  EXPECT_NE(0, ssh_pubkey_data_set(nullptr, key.c_str(), 1));
}

TEST_F(Accounts, KeyOfAPendingAccountMakesItDurable) {
  ASSERT_EQ(0, append_account("guest"));
  EXPECT_EQ(0, ssh_pubkey_data_set("guest", ("ssh-rsa " + support::base64(rsa_blob())).c_str(), 1));
  conf_end();
  ASSERT_EQ(0, conf_init());
  EXPECT_TRUE(has_account("guest"));
}

TEST_F(Accounts, RefusedKeyLeavesPendingChangesPending) {
  ASSERT_EQ(0, append_account("guest"));
  EXPECT_NE(0, ssh_pubkey_data_set("guest", "ssh-rsa nonsense", 1));
  EXPECT_TRUE(has_account("guest"));
  conf_end();
  ASSERT_EQ(0, conf_init());
  EXPECT_FALSE(has_account("guest"));
}

TEST_F(Accounts, TextThatIsNoKeyIsRefused) {
  const std::string blob = rsa_blob();
  const std::string good = support::base64(blob);
  std::string bad_length = blob;
  bad_length[0] = 0x7f;
  const std::string texts[] = {
      "",
      " ",
      "ssh-rsa",
      "ssh-rsa ",
      "ssh-rsa AAAA",
      "ssh-rsa " + good.substr(0, good.size() / 2),
      "ssh-rsa " + support::base64(blob.substr(0, blob.size() - 1)),
      "ssh-rsa " + support::base64(blob + "x"),
      "ssh-rsa " + support::base64(rsa_blob("ssh-dss")),
      "ssh-dss " + good,
      "ssh-ed25519 " + good,
      good,
      "ssh-rsa !" + good,
      "ssh-rsa " + support::base64(bad_length),
      "ssh-rsa " + good + "\nssh-rsa " + good,
      "-----BEGIN CERTIFICATE-----",
      std::string(100000, 'A'),
  };
  for (const std::string &text : texts) {
    EXPECT_NE(0, ssh_pubkey_data_set("admin", text.c_str(), 1)) << text.substr(0, 80);
  }
  EXPECT_NE(0, ssh_pubkey_data_set("admin", nullptr, 1));
}

}  // namespace
}  // namespace conformance
