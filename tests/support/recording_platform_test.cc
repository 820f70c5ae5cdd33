#include "tests/support/recording_fixture.h"

#include <openssl/rsa.h>

#include "tests/support/files.h"

namespace {

using recording::State;
using RecordingPlatform = RecordingTest;

TEST_F(RecordingPlatform, WritesCallsAndMessagesInOneOrder) {
  conf_init();
  message("[kelvane]: %s \"%d\"\t\x01\n", "Starting", 5);
  cmf_query *query = cmf_query_create(340);
  EXPECT_EQ(cmf_query_do_table_find(query, 0, "a\"b", 2), nullptr);
  cmf_query_free(query);
  recording::note("sleep(1)");
  EXPECT_EQ(recording::trace(),
            (Lines{"conf_init()", "message: [kelvane]: Starting \"5\"\\t\\x01\\n", "cmf_query_create(340)",
                   "cmf_query_do_table_find(340, 0, \"a\\\"b\", 2) -> none", "cmf_query_free(340)", "sleep(1)"}));
  EXPECT_EQ(recording::messages(), Lines{"[kelvane]: Starting \"5\"\t\x01\n"});
  EXPECT_EQ(recording::calls().size(), 5u);
  EXPECT_EQ(recording::calls_of("conf_init"), Lines{"conf_init()"});
}

TEST_F(RecordingPlatform, MessagesKeepBytesAboveAscii) {
  message("%s", "\xC3\xA4");
  EXPECT_EQ(recording::trace(), Lines{"message: \\xC3\\xA4"});
  EXPECT_EQ(recording::log_text(), "\xC3\xA4");
}

TEST_F(RecordingPlatform, FailsTheNthCallOnly) {
  recording::fail_nth("nCfg_query", 2);
  EXPECT_NE(nCfg_query(330), nullptr);
  EXPECT_EQ(nCfg_query(330), nullptr);
  EXPECT_NE(nCfg_query(330), nullptr);
  EXPECT_EQ(recording::calls(), (Lines{"nCfg_query(330)", "nCfg_query(330) -> failed", "nCfg_query(330)"}));
}

TEST_F(RecordingPlatform, FailsAlwaysWithTheGivenNumberUntilToldOtherwise) {
  recording::fail_always("cmf_write_config", -5);
  EXPECT_EQ(cmf_write_config(recording::kDomain), -5);
  EXPECT_EQ(cmf_write_config(recording::kDomain), -5);
  recording::fail_never("cmf_write_config");
  EXPECT_EQ(cmf_write_config(recording::kDomain), 0);
}

TEST_F(RecordingPlatform, HooksRunInsideTheCall) {
  recording::on_call("cmf_query_do_table_find", [] { recording::seed_account("late"); });
  EXPECT_NE(cmf_query_do_table_find(nCfg_query(340), 0, "late", 2), nullptr);
}

TEST_F(RecordingPlatform, CommittedChangesAreSeenAtOnceAndDurableAfterTheWrite) {
  recording::seed_account("admin", "old");
  cmf_query *query = cmf_query_create(340);
  auto *found = static_cast<ncfg_account *>(cmf_query_do_table_find(query, 0, "admin", 2));
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(query->found_key_number, recording::key_number(340, "admin"));
  strcpy(found->password, "new");
  EXPECT_STREQ(recording::account("admin")->password, "old");
  EXPECT_EQ(cmf_query_commit(query), 0);
  EXPECT_STREQ(recording::account("admin")->password, "new");
  EXPECT_STREQ(recording::account("admin", State::kDurable)->password, "old");
  EXPECT_TRUE(recording::pending());
  EXPECT_EQ(cmf_write_config(cmf_get_cur_domain_id()), 0);
  EXPECT_STREQ(recording::account("admin", State::kDurable)->password, "new");
  cmf_query_free(query);
}

TEST_F(RecordingPlatform, ChangesWithoutCommitAreDropped) {
  recording::seed_account("admin", "old");
  cmf_query *query = cmf_query_create(340);
  static_cast<ncfg_account *>(cmf_query_do_table_find(query, 0, "admin", 2))->password[0] = 'X';
  cmf_query_free(query);
  EXPECT_STREQ(recording::account("admin")->password, "old");
}

TEST_F(RecordingPlatform, CommitWithoutALoanFails) {
  EXPECT_EQ(cmf_query_commit(nCfg_query(340)), -1);
}

TEST_F(RecordingPlatform, EndOfTheConnectionDropsWhatIsPending) {
  ncfg_account record = {"user", "", 0, {}, 0, {}, 0, 0, {}, 0, 0, {}, 0, {}};
  EXPECT_EQ(cmf_query_table_append(nCfg_query(340), &record), 0);
  EXPECT_EQ(cmf_query_table_append(nCfg_query(340), &record), -1);
  EXPECT_EQ(recording::keys(340), Lines{"user"});
  conf_end();
  EXPECT_EQ(recording::keys(340), Lines{});
}

TEST_F(RecordingPlatform, SharedQueriesAreTheSameUntilTheEnd) {
  cmf_query *query = nCfg_query(440);
  EXPECT_EQ(nCfg_query(440), query);
  EXPECT_EQ(nCfg_query(441), nullptr);
  EXPECT_EQ(nCfg_query(354), nullptr) << "a child table has no shared query";
  EXPECT_EQ(cmf_query_create(7), nullptr);
}

TEST_F(RecordingPlatform, WalksInKeyNumberOrderUndisturbedBySessionChanges) {
  recording::seed_interface("port3");
  recording::seed_interface("port1");
  recording::seed_interface("port2");
  Lines seen;
  cmf_query *query = nCfg_query(440);
  for (void *at = cmf_query_table_head(query); at != nullptr; at = cmf_query_get_next(query)) {
    ncfg_interface copy = *static_cast<ncfg_interface *>(at);
    seen.push_back(copy.name);
    copy.addressing_mode = 1;
    EXPECT_EQ(__nCfg_sess_table_change_by_mkey(0, 440, at, &copy, 0), 0);
  }
  EXPECT_EQ(seen, (Lines{"port3", "port1", "port2"}));
  EXPECT_EQ(recording::interface_record("port2", State::kDurable)->addressing_mode, 1u);
  EXPECT_EQ(recording::calls_of("__nCfg_sess_table_change_by_mkey")[0],
            "__nCfg_sess_table_change_by_mkey(0, 440, \"port3\", \"port3\", 0)");
}

TEST_F(RecordingPlatform, WalksPastRecordsDeletedOnTheWay) {
  recording::seed_widget("a");
  recording::seed_widget("b");
  recording::seed_widget("c");
  cmf_query *query = cmf_query_create(330);
  EXPECT_NE(cmf_query_table_head(query), nullptr);
  EXPECT_EQ(nCfg_table_delete_by_mkey(330, "b"), 0);
  EXPECT_STREQ(static_cast<ncfg_widget *>(cmf_query_get_next(query))->name, "c");
  EXPECT_EQ(cmf_query_get_next(query), nullptr);
  EXPECT_EQ(query->found_key_number, 0u);
  cmf_query_free(query);
}

TEST_F(RecordingPlatform, ChildRecordsBelongToTheirParent) {
  recording::seed_account("user");
  cmf_query *query = cmf_query_create_child_with_key(nCfg_query(340), 354, "user");
  ASSERT_NE(query, nullptr);
  ncfg_dashboard_entry entry = {};
  entry.widget = 11;
  entry.column = 1;
  entry.open = 1;
  entry.height = 300;
  EXPECT_EQ(cmf_query_table_append(query, &entry), 0);
  entry.column = 2;
  EXPECT_EQ(cmf_query_table_append(query, &entry), 0);
  cmf_query_free(query);
  const auto entries = recording::children<ncfg_dashboard_entry>(340, "user", 354);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[1].column, 2u);
  EXPECT_EQ(recording::calls_of("cmf_query_table_append")[0],
            "cmf_query_table_append(354 of \"user\", {11, 1, 1, 300})");
  EXPECT_EQ(recording::children<ncfg_dashboard_entry>(340, "user", 354, State::kDurable).size(), 0u);
  EXPECT_EQ(nCfg_table_delete_by_mkey(340, "user"), 0);
  EXPECT_EQ(nCfg_table_delete_by_mkey(340, "user"), -1);
}

TEST_F(RecordingPlatform, NoChildQueryWithoutParentRecordOrTable) {
  recording::seed_account("user");
  EXPECT_EQ(cmf_query_create_child_with_key(nCfg_query(340), 354, "nobody"), nullptr);
  EXPECT_EQ(cmf_query_create_child_with_key(nCfg_query(340), 440, "user"), nullptr);
  EXPECT_EQ(recording::calls_of("cmf_query_create_child_with_key")[0],
            "cmf_query_create_child_with_key(340, 354, \"nobody\") -> none");
}

TEST_F(RecordingPlatform, GuiDashboardGoesIntoItsChildTable) {
  recording::seed_account("user");
  const ncfg_account account = *recording::account("user");
  cmf_query *query = cmf_query_create_child_with_key(nCfg_query(340), 14050, "user");
  EXPECT_EQ(add_default_gui_dashboard(query, &account, 0, 0, 1), 0);
  cmf_query_free(query);
  EXPECT_EQ(recording::children<ncfg_gui_dashboard>(340, "user", 14050).size(), 1u);
  EXPECT_EQ(recording::calls_of("add_default_gui_dashboard")[0],
            "add_default_gui_dashboard(14050 of \"user\", \"user\", 0, 0, 1)");
}

TEST_F(RecordingPlatform, SingleRecordTablesAreChangedInPlace) {
  recording::seed_factory_defaults();
  cmf_query *query = cmf_query_create(640);
  static_cast<ncfg_event_hub *>(cmf_query_update(query))->enabled = 1;
  EXPECT_EQ(cmf_query_commit(query), 0);
  cmf_query_free(query);
  EXPECT_EQ(recording::event_hub().enabled, 1u);
  EXPECT_EQ(recording::event_hub(State::kDurable).enabled, 0u);
  recording::reset();
  EXPECT_EQ(cmf_query_update(nCfg_query(100)), nullptr);
}

TEST_F(RecordingPlatform, FactoryDefaultsHaveTheirKeyNumbers) {
  recording::seed_factory_defaults();
  EXPECT_EQ(recording::key_number(280, "prof_admin"), 5u);
  EXPECT_EQ(recording::key_number(330, "sysop"), 18u);
  EXPECT_EQ(recording::keys(440), (Lines{"port1", "port2", "port3", "port4"}));
}

TEST_F(RecordingPlatform, SchemaGivesDefaultsAndCanLackATable) {
  ncfg_account account = {};
  ASSERT_GE(cmdb.table_count, 340u);
  copy_cmdb_default(cmdb.tables[340], &account, sizeof account);
  EXPECT_EQ(account.reserved_2450[0], recording::kDefaultAccountByte2450);
  EXPECT_EQ(account.reserved_1100[0], recording::kDefaultAccountByte1100);
  recording::remove_definition(340);
  EXPECT_EQ(cmdb.tables[340], nullptr);
  EXPECT_EQ(recording::calls(), Lines{"copy_cmdb_default(340, 2464)"});
}

TEST_F(RecordingPlatform, DebugRecordHasALevelAndCanBeAbsent) {
  recording::set_debug_level(6);
  ASSERT_NE(nCfg_debug_zone, nullptr);
  EXPECT_EQ(nCfg_debug_zone->agent_debug_level, 6);
  recording::set_debug_record_present(false);
  EXPECT_EQ(nCfg_debug_zone, nullptr);
}

TEST_F(RecordingPlatform, StoredPasswordsAreTruncatedAndTheirInputsKept) {
  EXPECT_STREQ(make_new_passwd("secret", 0), "stored(secret)");
  EXPECT_EQ(strlen(make_new_passwd(std::string(300, 'x').c_str(), 0)), 128u);
  recording::fail_nth("make_new_passwd", 1);
  EXPECT_EQ(make_new_passwd("\x80", 0), nullptr);
  EXPECT_EQ(recording::passwords_given(), (Lines{"secret", std::string(300, 'x'), "\x80"}));
}

TEST_F(RecordingPlatform, PolicyAnswersAsSet) {
  ncfg_account account = {};
  strcpy(account.name, "user");
  char reason[8] = "unset";
  EXPECT_EQ(check_passwd_policy(&account, "pw", reason, sizeof reason), 0);
  EXPECT_STREQ(reason, "");
  recording::set_policy_answer(3, "too short by far");
  EXPECT_EQ(check_passwd_policy(&account, "pw", reason, sizeof reason), 3);
  EXPECT_STREQ(reason, "too sho");
  passwd_policy_save_info(&account);
  ASSERT_EQ(recording::policy_saves().size(), 1u);
  EXPECT_STREQ(recording::policy_saves()[0].name, "user");
  EXPECT_EQ(recording::calls()[0], "check_passwd_policy(\"user\", \"pw\", 8)");
}

TEST_F(RecordingPlatform, SshKeysAreKeptBySlot) {
  recording::set_ssh_result(1, -4);
  EXPECT_EQ(ssh_pubkey_data_set("user", "ssh-rsa AAAA", 1), -4);
  EXPECT_EQ(ssh_pubkey_data_set("user", "ssh-rsa AAAA", 2), 0);
  EXPECT_NE(ssh_pubkey_data_set("user", "ssh-rsa AAAA", 4), 0);
  EXPECT_EQ(recording::ssh_key("user", 1), "");
  EXPECT_EQ(recording::ssh_key("user", 2), "ssh-rsa AAAA");
}

TEST_F(RecordingPlatform, SystemEventsAreKept) {
  log_system_event(20, 1, 6, "kelvane", 1, 2, "text");
  ASSERT_EQ(recording::system_events().size(), 1u);
  EXPECT_EQ(recording::system_events()[0].text, "text");
  EXPECT_EQ(recording::calls(), Lines{"log_system_event(20, 1, 6, \"kelvane\", 1, 2, \"text\")"});
}

TEST_F(RecordingPlatform, RandomBytesRepeatFromTheirBeginning) {
  recording::set_random_bytes({0xAA, 0x00, 0xBB});
  uint8_t bytes[4] = {};
  EXPECT_EQ(get_rnd_bytes(bytes, sizeof bytes), 0);
  EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 4), (std::vector<uint8_t>{0xAA, 0x00, 0xBB, 0xAA}));
}

TEST_F(RecordingPlatform, MakesRealRsaKeys) {
  RSA *key = generate_RSA_key(1024, 65537, nullptr, nullptr);
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(RSA_bits(key), 1024);
  RSA_free(key);
  recording::fail_always("generate_RSA_key");
  EXPECT_EQ(generate_RSA_key(1024, 65537, nullptr, nullptr), nullptr);
}

struct Base64Case {
  const char *text;
  int32_t result;
  std::string decoded;
};

TEST_F(RecordingPlatform, DecodesBase64) {
  const Base64Case cases[] = {
      {"", 0, ""},
      {"TWFu", 3, "Man"},
      {"TWE=", 2, "Ma"},
      {"TQ==", 1, "M"},
      {" T W\nF\tu ", 3, "Man"},
      {"TWFuTQ = =", 4, "ManM"},
      {"TWE", -1, "Ma"},
      {"T", -1, ""},
      {"TWF*", -1, "Ma"},
      {"TQ=", -1, "M"},
      {"TWFu=", -1, "Man"},
      {"TQ==TQ==", -1, "M"},
  };
  for (const Base64Case &each : cases) {
    uint8_t out[8] = {};
    EXPECT_EQ(miglib_b64_pton(each.text, out, sizeof out), each.result) << each.text;
    EXPECT_EQ(std::string(reinterpret_cast<char *>(out), each.decoded.size()), each.decoded) << each.text;
  }
  uint8_t small[2];
  EXPECT_EQ(miglib_b64_pton("TWFu", small, sizeof small), -1);
}

TEST_F(RecordingPlatform, UnknownZonesAreThatOfIndexZero) {
  EXPECT_STREQ(get_zoneinfo(1), "Europe/Berlin");
  EXPECT_STREQ(get_zoneinfo(99), "Etc/UTC");
  recording::set_zone(2, "Asia/Tokyo");
  EXPECT_STREQ(get_zoneinfo(2), "Asia/Tokyo");
}

TEST_F(RecordingPlatform, CopiesFilesOnlyWhenAsked) {
  support::TempDir dir;
  const std::string from = dir.write("from", "bytes");
  EXPECT_EQ(ncfg_copyfile(from.c_str(), dir.file("to").c_str()), 0);
  EXPECT_FALSE(support::exists(dir.file("to")));
  recording::set_copy_files(true);
  EXPECT_EQ(ncfg_copyfile(from.c_str(), dir.file("to").c_str()), 0);
  EXPECT_EQ(dir.read("to"), "bytes");
  EXPECT_EQ(ncfg_copyfile(dir.file("none").c_str(), dir.file("to").c_str()), -1);
}

TEST(RecordingPlatformMisuse, IsListed) {
  recording::reset();
  cmf_query *query = cmf_query_create(340);
  EXPECT_EQ(recording::open_queries(), 1u);
  cmf_query_free(query);
  EXPECT_EQ(recording::open_queries(), 0u);
  cmf_query_free(query);
  cmf_query_free(nCfg_query(340));
  EXPECT_EQ(cmf_query_table_head(nullptr), nullptr);
  EXPECT_EQ(recording::misuses(),
            (Lines{"cmf_query_free with a query that was freed or never made",
                   "cmf_query_free of the shared query of table 340", "cmf_query_table_head without a query"}));
  recording::reset();
  EXPECT_EQ(recording::misuses(), Lines{});
}

TEST(RecordingPlatformDeathTest, EchoesToStandardError) {
  recording::reset();
  EXPECT_EXIT(
      {
        recording::echo(true);
        message("last words\n");
        _exit(3);
      },
      ::testing::ExitedWithCode(3), "message: last words");
}

TEST(Files, ProgramsGetInputAndGiveBothOutputsAndTheirStatus) {
  const std::string much(1 << 20, 'x');
  const auto result = support::run_command({"sh", "-c", "cat; echo error >&2; exit 9"}, much);
  EXPECT_EQ(result.status, 9);
  EXPECT_EQ(result.out, much);
  EXPECT_EQ(result.err, "error\n");
  EXPECT_EQ(support::run_command({"kelvane-no-such-program"}).status, 127);
  EXPECT_EQ(support::run_command({"sh", "-c", "kill -9 $$"}).status, 128 + 9);
  EXPECT_THROW(support::run_command({"sleep", "30"}, "", 1), std::runtime_error);
}

TEST(Files, FoldersGoWithTheirContents) {
  std::string path;
  {
    support::TempDir dir;
    path = dir.path();
    dir.write("a/b", "c");
    EXPECT_EQ(dir.read("a/b"), "c");
    EXPECT_EQ(support::read_if_there(dir.file("a/b")), "c");
    EXPECT_EQ(support::mode_of(dir.path()), 0700);
  }
  EXPECT_FALSE(support::exists(path));
  EXPECT_THROW(support::read_file(path), std::runtime_error);
  EXPECT_EQ(support::read_if_there(path), "");
}

TEST(Files, OpensslToolRuns) {
  if (!support::have_openssl()) {
    GTEST_SKIP() << "SKIP: no openssl command line tool";
  }
  EXPECT_EQ(support::openssl({"base64"}, "Man"), "TWFu\n");
  EXPECT_THROW(support::openssl({"x509", "-in", "/nonexistent"}), std::runtime_error);
}

}  // namespace
