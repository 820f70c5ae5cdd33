// The reference platform's accounts, events, zones and log: what the contract leaves open.
#include <cstring>
#include <ctime>
#include <set>

#include "platform/reference/reference.h"
#include "tests/platform/conformance.h"
#include "tests/support/base64.h"

namespace conformance {
namespace {

using ReferenceAccounts = ConnectedPlatform;

// Keys made by hand: fields of four bytes' length and content, none of them anyone's.
std::string field(const std::string &content) {
  std::string bytes(3, '\0');
  bytes.push_back(static_cast<char>(content.size()));
  return bytes + content;
}

std::string line(const std::string &type, const std::string &blob, const std::string &comment = "") {
  return type + " " + support::base64(blob) + comment;
}

std::string ed25519(char fill, size_t length = 32) {
  return line("ssh-ed25519", field("ssh-ed25519") + field(std::string(length, fill)));
}

std::string ecdsa(const std::string &bits, size_t length, char first = 4) {
  const std::string type = "ecdsa-sha2-nistp" + bits;
  return line(type, field(type) + field("nistp" + bits) + field(first + std::string(length - 1, 'q')));
}

std::string rsa(const std::string &exponent, const std::string &modulus) {
  const std::string length = {0, 0, static_cast<char>(modulus.size() >> 8), static_cast<char>(modulus.size() & 0xff)};
  return line("ssh-rsa", field("ssh-rsa") + field(exponent) + length + modulus);
}

const std::string kModulus = std::string(1, '\0') + std::string(256, '\xc1');

int32_t set(const std::string &key, int32_t slot = 1) {
  return ssh_pubkey_data_set("admin", key.c_str(), slot);
}

TEST_F(ReferenceAccounts, KeysOfAllKnownTypesAreTaken) {
  EXPECT_EQ(0, set(ed25519('e')));
  EXPECT_EQ(0, set(ecdsa("256", 65)));
  EXPECT_EQ(0, set(ecdsa("384", 97)));
  EXPECT_EQ(0, set(ecdsa("521", 133)));
  EXPECT_EQ(0, set(rsa("\x03", kModulus)));
  EXPECT_EQ(0, set(rsa(std::string("\x01\x00\x01", 3), kModulus)));
  EXPECT_EQ(0, set(rsa("\x03", '\0' + ('\x80' + std::string(127, '\xc1'))))) << "1024 bits";
  EXPECT_EQ(0, set(rsa("\x03", '\0' + std::string(2048, '\xc1')))) << "16384 bits";
}

TEST_F(ReferenceAccounts, KeysWithAFlawInsideAreRefused) {
  EXPECT_NE(0, set(ed25519('e', 31)));
  EXPECT_NE(0, set(ed25519('e', 33)));
  EXPECT_NE(0, set(ecdsa("256", 64)));
  EXPECT_NE(0, set(ecdsa("256", 97)));
  EXPECT_NE(0, set(ecdsa("256", 65, 2))) << "a compressed point";
  EXPECT_NE(0, set(ecdsa("224", 57)));
  EXPECT_NE(0, set(line("ecdsa-sha2-nistp256",
                        field("ecdsa-sha2-nistp256") + field("nistp384") + field("\x04" + std::string(64, 'q')))));
  EXPECT_NE(0, set(rsa("", kModulus)));
  EXPECT_NE(0, set(rsa("\x01", kModulus)));
  EXPECT_NE(0, set(rsa("\x02", kModulus))) << "even exponent";
  EXPECT_NE(0, set(rsa("\x81", kModulus))) << "negative exponent";
  EXPECT_NE(0, set(rsa("\x03", kModulus.substr(1)))) << "negative modulus";
  EXPECT_NE(0, set(rsa("\x03", std::string(1, '\0') + kModulus))) << "not the shortest form";
  EXPECT_NE(0, set(rsa("\x03", std::string(1, '\0') + std::string(96, '\xc1')))) << "768 bits";
  EXPECT_NE(0, set(rsa("\x03", '\x01' + std::string(127, '\xc1')))) << "1017 bits";
  EXPECT_NE(0, set(rsa("\x03", '\x7f' + std::string(127, '\xc1')))) << "1023 bits";
  EXPECT_NE(0, set(rsa("\x03", '\x01' + std::string(2048, '\xc1')))) << "16385 bits";
  EXPECT_NE(0, set(rsa("\x03", std::string(1, '\0') + std::string(2049, '\xc1')))) << "too many bits";
  EXPECT_NE(0, set(rsa("\x03", kModulus.substr(0, 256) + '\xc2'))) << "even modulus";
  EXPECT_NE(0, set("from=\"host\" " + ed25519('e'))) << "options";
}

TEST_F(ReferenceAccounts, SlotsListWhatWasStored) {
  EXPECT_TRUE(reference_ssh_keys("admin").empty());
  ASSERT_EQ(0, set("  " + ed25519('a') + "\t  one two \r\n", 3));
  ASSERT_EQ(0, set(ed25519('b'), 1));
  ASSERT_EQ(0, set(ed25519('c'), 1));
  conf_end();
  ASSERT_EQ(0, conf_init());
  const std::vector<reference_ssh_key> keys = reference_ssh_keys("admin");
  ASSERT_EQ(2u, keys.size());
  EXPECT_EQ(1, keys[0].slot);
  EXPECT_EQ(ed25519('c'), keys[0].text);
  EXPECT_EQ(3, keys[1].slot);
  EXPECT_EQ(ed25519('a') + " one two", keys[1].text);
  EXPECT_TRUE(reference_ssh_keys("nobody").empty());
  EXPECT_TRUE(reference_ssh_keys(nullptr).empty());
}

TEST_F(ReferenceAccounts, RefusedKeyLeavesTheSlotAsItWas) {
  ASSERT_EQ(0, set(ed25519('a')));
  ASSERT_NE(0, set("ssh-rsa AAAA"));
  ASSERT_EQ(1u, reference_ssh_keys("admin").size());
  EXPECT_EQ(ed25519('a'), reference_ssh_keys("admin")[0].text);
}

TEST_F(ReferenceAccounts, KeysGoWithTheirAccount) {
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, ssh_pubkey_data_set("guest", ed25519('a').c_str(), 1));
  ASSERT_EQ(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "guest"));
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, write_config());
  EXPECT_TRUE(reference_ssh_keys("guest").empty());
}

TEST_F(ReferenceAccounts, RenamedAccountKeepsWhatBelongsToIt) {
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, append_dashboard("guest", 5));
  ASSERT_EQ(0, ssh_pubkey_data_set("guest", ed25519('a').c_str(), 1));
  const ncfg_account before = account("guest");
  ncfg_account after = before;
  memcpy(after.name, "visitor", 8);
  ASSERT_EQ(0, __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_ACCOUNTS, &before, &after, 0));
  EXPECT_FALSE(has_account("guest"));
  EXPECT_EQ((std::vector<uint32_t>{5}), dashboard("visitor"));
  EXPECT_EQ(1u, reference_ssh_keys("visitor").size());
}

TEST_F(ReferenceAccounts, NameThatAnotherRecordHasIsRefused) {
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, write_config());
  const ncfg_account guest = account("guest");
  const ncfg_account admin = account("admin");
  EXPECT_GT(0, __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_ACCOUNTS, &guest, &admin, 0));
  cmf_query *query = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  ncfg_account *record = find<ncfg_account>(query, "guest");
  memcpy(record->name, "admin", 6);
  EXPECT_GT(0, cmf_query_commit(query));
  cmf_query_free(query);
  EXPECT_EQ((std::vector<std::string>{"admin", "guest"}), names(NCFG_TABLE_ACCOUNTS));
}

TEST_F(ReferenceAccounts, PendingRenameIsSeenUnderTheNewNameOnly) {
  ASSERT_EQ(0, append_dashboard("admin", 5));
  ASSERT_EQ(0, commit_name("admin", "chief"));
  EXPECT_FALSE(has_account("admin"));
  EXPECT_EQ((std::vector<uint32_t>{5}), dashboard("chief"));
  ASSERT_EQ(0, write_config());
  EXPECT_EQ((std::vector<std::string>{"chief"}), names(NCFG_TABLE_ACCOUNTS));
  EXPECT_EQ((std::vector<uint32_t>{5}), dashboard("chief"));
}

// ---- history ----

constexpr char kFirst[] = "vR7#qTz!92_mLp";
constexpr char kSecond[] = "Bq4%zWe.81+kHd";
constexpr char kThird[] = "Tn9&cXo:35-jUs";

void change_password(const char *password) {
  cmf_query *query = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  ncfg_account *record = find<ncfg_account>(query, "admin");
  ASSERT_NE(nullptr, record);
  snprintf(record->password, sizeof record->password, "%s", make_new_passwd(password, 0));
  passwd_policy_save_info(record);
  ASSERT_EQ(0, cmf_query_commit(query));
  cmf_query_free(query);
}

std::string refusal(const char *password, const char *name = "admin") {
  const ncfg_account record = new_account(name, "");
  char reason[512] = "";
  const int32_t result = check_passwd_policy(&record, password, reason, sizeof reason);
  EXPECT_EQ(result == 0, reason[0] == '\0') << reason;
  return reason;
}

TEST_F(ReferenceAccounts, EarlierPasswordsAreRefusedAndThePresentOneIsNot) {
  change_password(kFirst);
  ASSERT_EQ(0, write_config());
  change_password(kSecond);
  EXPECT_EQ("The password has been used already", refusal(kFirst)) << "pending history counts";
  ASSERT_EQ(0, write_config());
  conf_end();
  ASSERT_EQ(0, conf_init());
  EXPECT_EQ("The password has been used already", refusal(kFirst));
  EXPECT_EQ("", refusal(kSecond)) << "the present one";
  EXPECT_EQ("", refusal(kThird));
  EXPECT_EQ("", refusal(kFirst, "guest")) << "another account's";
}

TEST_F(ReferenceAccounts, HistoryFollowsAccountsThatExchangeTheirNames) {
  change_password(kFirst);
  ASSERT_EQ(0, append_account("guest"));
  ncfg_account guest = new_account("guest", make_new_passwd(kSecond, 0));
  passwd_policy_save_info(&guest);
  ASSERT_EQ(0, write_config());
  change_password(kThird);
  ASSERT_EQ(0, write_config());
  ASSERT_EQ(0, commit_name("guest", "spare"));
  ASSERT_EQ(0, commit_name("admin", "guest"));
  ASSERT_EQ(0, commit_name("spare", "admin"));
  ASSERT_EQ(0, write_config());
  EXPECT_NE("", refusal(kFirst, "guest"));
  EXPECT_NE("", refusal(kSecond, "admin"));
  EXPECT_EQ("", refusal(kFirst, "admin"));
  EXPECT_EQ("", refusal(kSecond, "guest"));
}

TEST_F(ReferenceAccounts, HistoryThatWasNotWrittenIsForgotten) {
  change_password(kFirst);
  change_password(kSecond);
  conf_end();
  ASSERT_EQ(0, conf_init());
  EXPECT_EQ("", refusal(kFirst));
}

TEST_F(ReferenceAccounts, HistoryGoesWithItsAccount) {
  ASSERT_EQ(0, append_account("guest"));
  ncfg_account guest = new_account("guest", make_new_passwd(kFirst, 0));
  passwd_policy_save_info(&guest);
  ASSERT_EQ(0, write_config());
  EXPECT_NE("", refusal(kFirst, "guest"));
  ASSERT_EQ(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "guest"));
  EXPECT_EQ("", refusal(kFirst, "guest"));
}

TEST_F(ReferenceAccounts, HistoryOfAnAccountThatWasNotAddedIsNotWritten) {
  ncfg_account guest = new_account("guest", make_new_passwd(kFirst, 0));
  passwd_policy_save_info(&guest);
  EXPECT_EQ("", refusal(kFirst, "guest")) << "who could not add it tries again";
  ASSERT_EQ(0, write_config());
  EXPECT_EQ("", refusal(kFirst, "guest"));
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, write_config());
  EXPECT_EQ("", refusal(kFirst, "guest"));
}

TEST_F(ReferenceAccounts, HistoryGoesBackFivePasswords) {
  change_password(kFirst);
  for (int i = 0; i < 4; ++i) {
    change_password(("filler " + std::to_string(i)).c_str());
    ASSERT_EQ(0, write_config());
  }
  EXPECT_NE("", refusal(kFirst));
  change_password("filler 4");
  ASSERT_EQ(0, write_config());
  EXPECT_EQ("", refusal(kFirst));
}

TEST_F(ReferenceAccounts, PolicySaysWhyInWords) {
  EXPECT_NE("", refusal(""));
  EXPECT_NE("", refusal("Ab1!xyz")) << "seven characters";
  EXPECT_NE("", refusal("onlylettersbutmany")) << "one class";
  EXPECT_NE("", refusal("lettersand123456789")) << "two classes";
  EXPECT_EQ("", refusal("Letters+1937"));
  EXPECT_EQ("The password is too long", refusal(std::string(512, 'x').c_str()));
}

TEST_F(ReferenceAccounts, StoredFormIsYescrypt) {
  EXPECT_EQ(0, strncmp("$y$", make_new_passwd("x", 0), 3));
}

TEST_F(ReferenceAccounts, DefaultAccountRecordIsNotAllZero) {
  ncfg_account record = {};
  copy_cmdb_default(cmdb.tables[NCFG_TABLE_ACCOUNTS], &record, sizeof record);
  EXPECT_EQ(30, record.reserved_194[0]);
  EXPECT_EQ(50, record.reserved_194[2]);
  EXPECT_EQ(1, record.reserved_194[885]);
  EXPECT_EQ(0xff, record.reserved_1100[0]);
  EXPECT_EQ(0x5a, record.reserved_1100[1347]);
  EXPECT_EQ(7, record.reserved_2450[9]);
}

TEST(ReferenceDefaults, OfInterfacesAndDashboards) {
  ncfg_interface port = {};
  copy_cmdb_default(cmdb.tables[NCFG_TABLE_INTERFACES], &port, sizeof port);
  EXPECT_EQ(0, port.manual);
  EXPECT_EQ(NCFG_ADDRESSING_STATIC, port.addressing_mode);
  EXPECT_EQ(1, port.default_server);
  EXPECT_EQ(0u, port.AzureEndpoint);
  ncfg_dashboard_entry entry = {};
  copy_cmdb_default(cmdb.tables[NCFG_TABLE_ACCOUNT_DASHBOARD], &entry, sizeof entry);
  EXPECT_EQ(0u, entry.widget);
  EXPECT_EQ(1u, entry.column);
  EXPECT_EQ(1u, entry.open);
  EXPECT_EQ(300u, entry.height);
}

TEST_F(ReferenceAccounts, FactoryHasFourPortsAndTwoProfiles) {
  EXPECT_EQ((std::vector<std::string>{"port1", "port2", "port3", "port4"}), names(NCFG_TABLE_INTERFACES));
  EXPECT_EQ((std::vector<std::string>{"prof_readonly", "prof_admin"}), names(NCFG_TABLE_ACCESS_PROFILES));
  EXPECT_EQ(8u, names(NCFG_TABLE_WIDGETS).size());
}

TEST_F(ReferenceAccounts, GuiDashboardHasTwoPages) {
  const ncfg_account admin = account("admin");
  cmf_query *child =
      cmf_query_create_child_with_key(nCfg_query(NCFG_TABLE_ACCOUNTS), NCFG_TABLE_GUI_DASHBOARD, "admin");
  ASSERT_EQ(0, add_default_gui_dashboard(child, &admin, 0, 0, 1));
  EXPECT_GT(0, add_default_gui_dashboard(child, &admin, 0, 0, 1)) << "they are there";
  ASSERT_NE(nullptr, find<ncfg_gui_dashboard>(child, "status"));
  ASSERT_NE(nullptr, find<ncfg_gui_dashboard>(child, "security"));
  EXPECT_EQ(3u, find<ncfg_gui_dashboard>(child, "security")->columns);
  cmf_query_free(child);
}

// ---- events, zones, log ----

TEST_F(ReferenceAccounts, EventsAreListedInOrderWithEveryArgument) {
  const time_t before = time(nullptr);
  log_system_event(11008801, 1, 6, "daemon", 1, 2, "Config eventhub fails.");
  log_system_event(4294967295u, -1, -2, nullptr, -3, 1, nullptr);
  conf_end();
  ASSERT_EQ(0, conf_init());
  const std::vector<reference_event> events = reference_events(0);
  ASSERT_EQ(2u, events.size());
  EXPECT_EQ(1, events[0].number);
  EXPECT_LE(before, events[0].time);
  EXPECT_EQ(11008801u, events[0].event_id);
  EXPECT_EQ(1, events[0].version);
  EXPECT_EQ(6, events[0].category);
  EXPECT_EQ("daemon", events[0].source);
  EXPECT_EQ(1, events[0].kind);
  EXPECT_EQ(2, events[0].result);
  EXPECT_EQ("Config eventhub fails.", events[0].text);
  EXPECT_EQ(4294967295u, events[1].event_id);
  EXPECT_EQ(-3, events[1].kind);
  EXPECT_EQ("", events[1].source);
  ASSERT_EQ(1u, reference_events(1).size());
  EXPECT_EQ(2, reference_events(1)[0].number);
  EXPECT_TRUE(reference_events(2).empty());
}

TEST(ReferenceZones, AreAllDifferentAndBeginWithUtc) {
  EXPECT_STREQ("Etc/UTC", get_zoneinfo(0));
  std::set<std::string> zones = {"Etc/UTC"};
  int32_t count = 1;
  for (; strcmp("Etc/UTC", get_zoneinfo(count)) != 0; ++count) {
    zones.insert(get_zoneinfo(count));
  }
  EXPECT_LE(30, count);
  EXPECT_EQ(static_cast<size_t>(count), zones.size());
  EXPECT_EQ(1u, zones.count("Europe/Berlin"));
}

// Byte for byte what an appliance has before anyone used it; the space that the agent does not know included.
TEST_F(ReferenceAccounts, TheFactorysAdministratorIsTheOneOfTheAppliance) {
  const ncfg_account admin = account("admin");
  EXPECT_STREQ("*", admin.password);
  EXPECT_EQ(2u, admin.access_profile);
  EXPECT_EQ(1u, admin.field_1088);
  EXPECT_EQ(1u, admin.field_1096);
  EXPECT_EQ(257u, admin.field_2460);
  EXPECT_EQ(30, admin.reserved_194[0]);
  EXPECT_EQ(50, admin.reserved_194[2]);
}

uint32_t number_of(uint32_t table, const char *key) {
  cmf_query *query = nCfg_query(table);
  return cmf_query_do_table_find(query, 0, key, 2) != nullptr ? query->found_key_number : 0;
}

// The numbers are neither dense nor in the order of a list: nothing may take one for the other.
TEST_F(ReferenceAccounts, TheFactorysKeysHaveTheirNumbers) {
  EXPECT_EQ(1u, number_of(NCFG_TABLE_ACCOUNTS, "admin"));
  EXPECT_EQ(1u, number_of(NCFG_TABLE_ACCESS_PROFILES, "prof_readonly"));
  EXPECT_EQ(2u, number_of(NCFG_TABLE_ACCESS_PROFILES, "prof_admin"));
  EXPECT_EQ(11u, number_of(NCFG_TABLE_WIDGETS, "sysinfo"));
  EXPECT_EQ(27u, number_of(NCFG_TABLE_WIDGETS, "vexwatch"));
  EXPECT_EQ(12u, number_of(NCFG_TABLE_WIDGETS, "sysres"));
  EXPECT_EQ(31u, number_of(NCFG_TABLE_WIDGETS, "policysummary"));
  EXPECT_EQ(15u, number_of(NCFG_TABLE_WIDGETS, "sysop"));
  EXPECT_EQ(24u, number_of(NCFG_TABLE_WIDGETS, "attacksummary"));
  EXPECT_EQ(40u, number_of(NCFG_TABLE_WIDGETS, "policy-sessions"));
  EXPECT_EQ(9u, number_of(NCFG_TABLE_WIDGETS, "alert"));
  EXPECT_EQ(4u, number_of(NCFG_TABLE_INTERFACES, "port4"));
  ASSERT_EQ(0, append_account("second"));
  EXPECT_EQ(2u, number_of(NCFG_TABLE_ACCOUNTS, "second")) << "numbering goes on behind the factory's";
}

TEST_F(ReferenceAccounts, DaylightSavingFollowsTheZoneOfTheSettings) {
  int32_t berlin = 0;
  while (berlin < 1000 && strcmp("Europe/Berlin", get_zoneinfo(berlin)) != 0) {
    ++berlin;
  }
  cmf_query *query = cmf_query_create(NCFG_TABLE_SYSTEM_SETTINGS);
  static_cast<ncfg_system_settings *>(cmf_query_update(query))->time_zone_index = berlin;
  ASSERT_EQ(0, cmf_query_commit(query));
  cmf_query_free(query);
  ncfg_active_dayst();
  EXPECT_STREQ("Europe/Berlin", getenv("TZ"));
  const time_t midsummer = 1'782'000'000;
  tm parts = {};
  localtime_r(&midsummer, &parts);
  const bool has_zone_files = timezone != 0;
  unsetenv("TZ");
  tzset();
  if (!has_zone_files) {
    GTEST_SKIP() << "SKIP: the system has no zone files";
  }
  EXPECT_EQ(1, parts.tm_isdst);
}

TEST(ReferenceLog, SinkGetsEachTextAsItWasFormatted) {
  std::vector<std::string> texts;
  reference_set_log_sink(
      [](const char *text, void *context) { static_cast<std::vector<std::string> *>(context)->emplace_back(text); },
      &texts);
  message("one %d\n", 1);
  message("no line end");
  message("%s", "");
  const std::string longest(100'000, 'x');
  message("%s", longest.c_str());
  reference_set_log_sink(nullptr, nullptr);
  message("unheard\n");
  EXPECT_EQ((std::vector<std::string>{"one 1\n", "no line end", "", longest}), texts);
}

TEST(ReferenceLog, StandardErrorGetsWholeLinesWhenAsked) {
  ::testing::internal::CaptureStderr();
  message("not asked for\n");
  reference_log_to_stderr(true);
  message("one\n");
  message("two");
  message("three\nfour\n");
  reference_log_to_stderr(false);
  const std::string written = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ("one\ntwo\nthree\nfour\n", written);
}

TEST(ReferenceLog, MessageLeavesErrnoAlone) {
  errno = ENOTTY;
  message("text\n");
  EXPECT_EQ(ENOTTY, errno);
}

}  // namespace
}  // namespace conformance
