// Base64, file copies, time zones, random bytes, keys, log and debug record.
#include <openssl/bn.h>
#include <openssl/rsa.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>
#include <set>

#include "tests/platform/conformance.h"

namespace conformance {
namespace {

using Services = ConnectedPlatform;

// ---- base64 ----

struct Vector {
  const char *text;
  int32_t length;  // what is returned
  const char *bytes;
};

class Base64 : public ::testing::TestWithParam<Vector> {};

TEST_P(Base64, DecodesAsWrittenDown) {
  uint8_t buffer[64];
  memset(buffer, 0xee, sizeof buffer);
  ASSERT_EQ(GetParam().length, miglib_b64_pton(GetParam().text, buffer, sizeof buffer)) << GetParam().text;
  const size_t length = strlen(GetParam().bytes);
  EXPECT_EQ(std::string(GetParam().bytes), std::string(reinterpret_cast<char *>(buffer), length));
  EXPECT_EQ(0xee, buffer[length]) << "nothing is written beyond the bytes";
}

INSTANTIATE_TEST_SUITE_P(Good, Base64,
                         ::testing::Values(Vector{"", 0, ""}, Vector{"Zg==", 1, "f"}, Vector{"Zm8=", 2, "fo"},
                                           Vector{"Zm9v", 3, "foo"}, Vector{"Zm9vYg==", 4, "foob"},
                                           Vector{"Zm9vYmE=", 5, "fooba"}, Vector{"Zm9vYmFy", 6, "foobar"},
                                           Vector{"+/+/", 3, "\xfb\xff\xbf"}, Vector{"////", 3, "\xff\xff\xff"}));
INSTANTIATE_TEST_SUITE_P(WhiteSpace, Base64,
                         ::testing::Values(Vector{" \t\r\n\v\f", 0, ""}, Vector{" Zm9v ", 3, "foo"},
                                           Vector{"Z m\n9\tv\r\nYmFy", 6, "foobar"}, Vector{"Zg= =", 1, "f"},
                                           Vector{"Zg==\n", 1, "f"}, Vector{"Zm8 =\r\n ", 2, "fo"}));
INSTANTIATE_TEST_SUITE_P(BadCharacter, Base64,
                         ::testing::Values(Vector{"*", -1, ""}, Vector{"Zm9v*", -1, "foo"}, Vector{"Zm9-", -1, "fo"},
                                           Vector{"Zm9_", -1, "fo"}, Vector{"Zm9vYm\xc3\xa9y", -1, "foob"},
                                           Vector{"Zm9vYmFy.", -1, "foobar"}));
INSTANTIATE_TEST_SUITE_P(BadPadding, Base64,
                         ::testing::Values(Vector{"Z", -1, ""}, Vector{"Zg", -1, "f"}, Vector{"Zg=", -1, "f"},
                                           Vector{"Zm8", -1, "fo"}, Vector{"=", -1, ""}, Vector{"====", -1, ""},
                                           Vector{"Z===", -1, ""}, Vector{"Zm9v=", -1, "foo"},
                                           Vector{"Zm8==", -1, "fo"}, Vector{"Zg===", -1, "f"},
                                           Vector{"Zg==Zg==", -1, "f"}, Vector{"Zg=Z", -1, "f"},
                                           Vector{"Zh==", -1, "f"}, Vector{"Zm9=", -1, "fo"}));

TEST(Base64Room, ExactRoomIsEnough) {
  uint8_t buffer[7] = {};
  EXPECT_EQ(1, miglib_b64_pton("Zg==", buffer, 1));
  EXPECT_EQ(2, miglib_b64_pton("Zm8=", buffer, 2));
  EXPECT_EQ(6, miglib_b64_pton("Zm9vYmFy", buffer, 6));
  EXPECT_EQ(0, buffer[6]);
}

TEST(Base64Room, TooLittleHoldsWhatWasDecodedBefore) {
  uint8_t buffer[6];
  memset(buffer, 0xee, sizeof buffer);
  EXPECT_EQ(-1, miglib_b64_pton("Zm9vYmFy", buffer, 5));
  EXPECT_EQ("fooba", std::string(reinterpret_cast<char *>(buffer), 5));
  EXPECT_EQ(0xee, buffer[5]);
  EXPECT_EQ(-1, miglib_b64_pton("Zg==", buffer, 0));
  EXPECT_EQ(-1, miglib_b64_pton("Zg==", nullptr, 0));
}

TEST(Base64Room, NothingToDecodeNeedsNone) {
  EXPECT_EQ(0, miglib_b64_pton("", nullptr, 0));
  EXPECT_EQ(-1, miglib_b64_pton(nullptr, nullptr, 0));
}

// ---- file copies ----

mode_t mode_of(const std::string &path) {
  struct stat status = {};
  EXPECT_EQ(0, stat(path.c_str(), &status)) << path;
  return status.st_mode & 07777;
}

size_t entries(const std::string &folder) {
  const std::filesystem::directory_iterator begin(folder);
  return static_cast<size_t>(std::distance(begin, std::filesystem::directory_iterator()));
}

TEST(CopyFile, IsWholeAndForTheOwnerOnly) {
  const TempDir folder;
  const std::string content("a\0b\n\xff", 5);
  write_file(folder.file("from"), content);
  const mode_t mask = umask(0);
  EXPECT_EQ(0, ncfg_copyfile(folder.file("from").c_str(), folder.file("to").c_str()));
  umask(mask);
  EXPECT_EQ(content, read_file(folder.file("to")));
  EXPECT_EQ(0600u, mode_of(folder.file("to")));
  EXPECT_EQ(2u, entries(folder.file("")));
}

TEST(CopyFile, ReplacesTheDestinationInOneStep) {
  const TempDir folder;
  write_file(folder.file("from"), "new");
  write_file(folder.file("to"), "the old and longer content");
  ASSERT_EQ(0, link(folder.file("to").c_str(), folder.file("other-name").c_str()));
  ASSERT_EQ(0, chmod(folder.file("to").c_str(), 0644));
  EXPECT_EQ(0, ncfg_copyfile(folder.file("from").c_str(), folder.file("to").c_str()));
  EXPECT_EQ("new", read_file(folder.file("to")));
  EXPECT_EQ(0600u, mode_of(folder.file("to")));
  EXPECT_EQ("the old and longer content", read_file(folder.file("other-name"))) << "written over, not replaced";
}

TEST(CopyFile, TakesEmptyAndLargeFiles) {
  const TempDir folder;
  for (const size_t size : {size_t{0}, size_t{1}, size_t{65536}, size_t{65537}, size_t{5'000'001}}) {
    std::string content(size, '\0');
    ASSERT_EQ(0, get_rnd_bytes(content.data(), size));
    write_file(folder.file("from"), content);
    ASSERT_EQ(0, ncfg_copyfile(folder.file("from").c_str(), folder.file("to").c_str())) << size;
    EXPECT_TRUE(content == read_file(folder.file("to"))) << size;
  }
}

TEST(CopyFile, MissingSourceChangesNothing) {
  const TempDir folder;
  write_file(folder.file("to"), "old");
  EXPECT_GT(0, ncfg_copyfile(folder.file("missing").c_str(), folder.file("to").c_str()));
  EXPECT_GT(0, ncfg_copyfile(folder.file("").c_str(), folder.file("to").c_str())) << "a folder is no file";
  EXPECT_EQ("old", read_file(folder.file("to")));
  EXPECT_EQ(1u, entries(folder.file("")));
}

TEST(CopyFile, UnwritableDestinationFailsAndLeavesNothingBehind) {
  const TempDir folder;
  write_file(folder.file("from"), "new");
  ASSERT_EQ(0, mkdir(folder.file("a-folder").c_str(), 0700));
  EXPECT_GT(0, ncfg_copyfile(folder.file("from").c_str(), folder.file("missing/to").c_str()));
  EXPECT_GT(0, ncfg_copyfile(folder.file("from").c_str(), folder.file("a-folder").c_str()));
  EXPECT_EQ(2u, entries(folder.file("")));
  EXPECT_EQ(0u, entries(folder.file("a-folder")));
}

TEST(CopyFile, OfNoNameFails) {
  const TempDir folder;
  write_file(folder.file("from"), "new");
  EXPECT_GT(0, ncfg_copyfile(nullptr, folder.file("to").c_str()));
  EXPECT_GT(0, ncfg_copyfile(folder.file("from").c_str(), nullptr));
  EXPECT_GT(0, ncfg_copyfile("", ""));
}

TEST(CopyFile, OntoItselfKeepsTheContent) {
  const TempDir folder;
  write_file(folder.file("from"), "content");
  EXPECT_EQ(0, ncfg_copyfile(folder.file("from").c_str(), folder.file("from").c_str()));
  EXPECT_EQ("content", read_file(folder.file("from")));
}

// ---- time zones ----

TEST(TimeZones, UnknownIndexIsThatOfZero) {
  const char *first = get_zoneinfo(0);
  ASSERT_NE(nullptr, first);
  for (const int32_t index : {-1, 1'000'000, INT32_MIN, INT32_MAX}) {
    EXPECT_STREQ(first, get_zoneinfo(index)) << index;
  }
}

TEST(TimeZones, NamesArePathsWithoutTricks) {
  for (int32_t index = 0; index < 200; ++index) {
    const std::string name = get_zoneinfo(index);
    EXPECT_FALSE(name.empty()) << index;
    EXPECT_NE('/', name.front()) << index;
    EXPECT_EQ(std::string::npos, name.find("..")) << index;
  }
}

TEST_F(Services, DaylightSavingCanBePutIntoForce) {
  ncfg_active_dayst();
  const time_t moment = 1'800'000'000;
  EXPECT_NE(nullptr, localtime(&moment));
}

// ---- random bytes and keys ----

TEST(Random, SeedsAndFillsWhatItIsGiven) {
  EXPECT_EQ(0, openssl_init_rng());
  std::vector<uint8_t> bytes(4096 + 1, 0xee);
  ASSERT_EQ(0, get_rnd_bytes(bytes.data(), 4096));
  EXPECT_EQ(0xee, bytes[4096]);
  EXPECT_EQ(256u, std::set<uint8_t>(bytes.begin(), bytes.end()).size());
}

TEST(Random, IsDifferentEachTime) {
  uint64_t first = 0;
  uint64_t second = 0;
  ASSERT_EQ(0, get_rnd_bytes(&first, sizeof first));
  ASSERT_EQ(0, get_rnd_bytes(&second, sizeof second));
  EXPECT_NE(first, second);
}

TEST(Random, TakesNoLengthAndNoBuffer) {
  EXPECT_EQ(0, get_rnd_bytes(nullptr, 0));
  EXPECT_GT(0, get_rnd_bytes(nullptr, 1));
}

TEST(RsaKey, HasTheBitsAndTheExponentAskedFor) {
  const std::unique_ptr<RSA, decltype(&RSA_free)> key(generate_RSA_key(2048, 65537, nullptr, nullptr), &RSA_free);
  ASSERT_NE(nullptr, key);
  const BIGNUM *exponent = nullptr;
  RSA_get0_key(key.get(), nullptr, &exponent, nullptr);
  EXPECT_EQ(2048, RSA_bits(key.get()));
  EXPECT_EQ(65537u, BN_get_word(exponent));
  EXPECT_EQ(1, RSA_check_key(key.get()));
}

TEST(RsaKey, IsFreshEachTime) {
  const std::unique_ptr<RSA, decltype(&RSA_free)> one(generate_RSA_key(2048, 65537, nullptr, nullptr), &RSA_free);
  const std::unique_ptr<RSA, decltype(&RSA_free)> two(generate_RSA_key(2048, 65537, nullptr, nullptr), &RSA_free);
  ASSERT_NE(nullptr, one);
  ASSERT_NE(nullptr, two);
  const BIGNUM *first = nullptr;
  const BIGNUM *second = nullptr;
  RSA_get0_key(one.get(), &first, nullptr, nullptr);
  RSA_get0_key(two.get(), &second, nullptr, nullptr);
  EXPECT_NE(0, BN_cmp(first, second));
}

TEST(RsaKey, OfNonsenseIsNone) {
  EXPECT_EQ(nullptr, generate_RSA_key(0, 65537, nullptr, nullptr));
  EXPECT_EQ(nullptr, generate_RSA_key(-2048, 65537, nullptr, nullptr));
  EXPECT_EQ(nullptr, generate_RSA_key(INT32_MAX, 65537, nullptr, nullptr));
  EXPECT_EQ(nullptr, generate_RSA_key(2048, 0, nullptr, nullptr));
  EXPECT_EQ(nullptr, generate_RSA_key(2048, 65536, nullptr, nullptr));
}

// ---- log and debug record ----

TEST_F(Services, LogTakesAnyText) {
  message("%s", "");
  message("without a line end");
  message("two\nlines\n");
  message("%s\n", std::string(1'000'000, 'x').c_str());
  message("%s %d %%\n", "\xff\x01", -1);
}

TEST_F(Services, EventLogTakesAnyText) {
  log_system_event(11008801, 1, 6, "daemon", 1, 1, "Config eventhub success.");
  log_system_event(11008801, 1, 6, "daemon", 1, 2, "it's \"100%\"\n\xff");
  log_system_event(0xffffffff, -1, -1, nullptr, -1, -1, nullptr);
}

TEST_F(Services, EventLeavesPendingChangesPending) {
  ASSERT_EQ(0, append_account("guest"));
  log_system_event(11008801, 1, 6, "daemon", 1, 1, "text");
  EXPECT_TRUE(has_account("guest"));
  conf_end();
  ASSERT_EQ(0, conf_init());
  EXPECT_FALSE(has_account("guest"));
}

TEST_F(Services, DebugRecordIsQuietAtFirst) {
  ASSERT_NE(nullptr, nCfg_debug_zone);
  EXPECT_EQ(0, nCfg_debug_zone->agent_debug_level);
  EXPECT_EQ(0u, nCfg_debug_zone->test_command);
  EXPECT_EQ(0, nCfg_debug_zone->flags & NCFG_DEBUG_FLAG_SERVED);
  EXPECT_NE(nullptr, memchr(nCfg_debug_zone->os_version, 0, sizeof nCfg_debug_zone->os_version));
  EXPECT_EQ('\0', nCfg_debug_zone->host_name[NCFG_HOST_NAME_LENGTH]);
}

TEST_F(Services, DebugRecordOutlivesTheConnection) {
  nCfg_debug_zone->agent_debug_level = 6;
  conf_end();
  ASSERT_NE(nullptr, nCfg_debug_zone) << "a signal handler looks at it at any time";
  EXPECT_EQ(6, nCfg_debug_zone->agent_debug_level);
  ASSERT_EQ(0, conf_init());
  EXPECT_EQ(6, nCfg_debug_zone->agent_debug_level);
}

}  // namespace
}  // namespace conformance
