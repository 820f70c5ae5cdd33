// Calls at the wrong time or with the wrong things: nothing is changed, nothing crashes.
#include <cstdio>
#include <cstring>

#include "tests/platform/conformance.h"

namespace conformance {
namespace {

using Unconnected = FreshPlatform;
using Misuse = ConnectedPlatform;

void expect_everything_refused() {
  ncfg_account record = new_account("guest");
  char reason[512];
  EXPECT_EQ(nullptr, nCfg_query(NCFG_TABLE_ACCOUNTS));
  EXPECT_EQ(nullptr, cmf_query_create(NCFG_TABLE_ACCOUNTS));
  EXPECT_NE(0, cmf_write_config(cmf_get_cur_domain_id()));
  EXPECT_GT(0, __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_ACCOUNTS, &record, &record, 0));
  EXPECT_GT(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "admin"));
  EXPECT_NE(0, ssh_pubkey_data_set("admin", "ssh-rsa AAAA", 1));
  check_passwd_policy(&record, "a", reason, sizeof reason);
  passwd_policy_save_info(&record);
  log_system_event(1, 1, 6, "daemon", 1, 1, "text");
  ncfg_active_dayst();
  message("still here\n");
}

TEST_F(Unconnected, CallsBeforeTheConnectionAreRefused) {
  expect_everything_refused();
}

TEST_F(Unconnected, CallsAfterTheConnectionAreRefused) {
  ASSERT_EQ(0, conf_init());
  conf_end();
  expect_everything_refused();
}

TEST_F(Unconnected, EndWithoutAConnectionIsNoMatter) {
  conf_end();
  conf_end();
}

TEST_F(Unconnected, PolicyBookkeepingBeforeTheConnectionIsNotKept) {
  ncfg_account record = new_account("guest");
  passwd_policy_save_info(&record);
  ASSERT_EQ(0, conf_init());
  EXPECT_EQ(0, write_config());
}

TEST_F(Misuse, OwnQueryOutlivesTheConnectionHarmlessly) {
  cmf_query *query = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  cmf_query *lender = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  const ncfg_account record = new_account("guest");
  ASSERT_NE(nullptr, find<ncfg_account>(query, "admin"));
  ncfg_account *lent = find<ncfg_account>(lender, "admin");
  ASSERT_NE(nullptr, lent);
  snprintf(lent->password, sizeof lent->password, "changed");
  conf_end();
  EXPECT_EQ(nullptr, find<ncfg_account>(query, "admin"));
  EXPECT_EQ(nullptr, cmf_query_table_head(query));
  EXPECT_EQ(nullptr, cmf_query_get_next(query));
  EXPECT_EQ(nullptr, cmf_query_update(query));
  EXPECT_EQ(nullptr, cmf_query_create_child_with_key(query, NCFG_TABLE_ACCOUNT_DASHBOARD, "admin"));
  for (const bool connected : {false, true}) {
    ASSERT_EQ(0, connected ? conf_init() : 0);
    EXPECT_GT(0, cmf_query_commit(query));
    EXPECT_GT(0, cmf_query_commit(lender)) << "what was lent before";
    EXPECT_GT(0, cmf_query_table_append(query, &record));
  }
  EXPECT_EQ(0, write_config()) << "nothing that was pending was dropped";
  EXPECT_EQ((std::vector<std::string>{"admin"}), names(NCFG_TABLE_ACCOUNTS));
  EXPECT_STRNE("changed", account("admin").password);
  cmf_query_free(query);
  cmf_query_free(lender);
}

// The agent remembers a password before it commits the record, and takes no notice of what that returns.
TEST_F(Misuse, PasswordOfARecordThatAnEarlierConnectionLentIsForgotten) {
  constexpr char kPassword[] = "vR7#qTz!92_mLp";
  cmf_query *query = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  ncfg_account *admin = find<ncfg_account>(query, "admin");
  ASSERT_NE(nullptr, admin);
  snprintf(admin->password, sizeof admin->password, "%s", make_new_passwd(kPassword, 0));
  conf_end();
  ASSERT_EQ(0, conf_init());
  passwd_policy_save_info(admin);
  EXPECT_GT(0, cmf_query_commit(query));
  EXPECT_EQ(0, write_config());
  char reason[512];
  EXPECT_EQ(0, check_passwd_policy(admin, kPassword, reason, sizeof reason)) << "no reuse: nobody has had it";
  cmf_query_free(query);
}

TEST_F(Misuse, NullPointersAreRefused) {
  const ncfg_account record = new_account("guest");
  cmf_query *query = nCfg_query(NCFG_TABLE_ACCOUNTS);
  cmf_query_free(nullptr);
  EXPECT_EQ(nullptr, cmf_query_do_table_find(nullptr, 0, "admin", 2));
  EXPECT_EQ(nullptr, cmf_query_do_table_find(query, 0, nullptr, 2));
  EXPECT_EQ(nullptr, cmf_query_update(nullptr));
  EXPECT_EQ(nullptr, cmf_query_table_head(nullptr));
  EXPECT_EQ(nullptr, cmf_query_get_next(nullptr));
  EXPECT_GT(0, cmf_query_commit(nullptr));
  EXPECT_GT(0, cmf_query_table_append(nullptr, &record));
  EXPECT_GT(0, cmf_query_table_append(query, nullptr));
  EXPECT_EQ(nullptr, cmf_query_create_child_with_key(nullptr, NCFG_TABLE_ACCOUNT_DASHBOARD, "admin"));
  EXPECT_EQ(nullptr, cmf_query_create_child_with_key(query, NCFG_TABLE_ACCOUNT_DASHBOARD, nullptr));
  EXPECT_GT(0, __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_ACCOUNTS, nullptr, &record, 0));
  EXPECT_GT(0, __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_ACCOUNTS, &record, nullptr, 0));
  EXPECT_GT(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, nullptr));
  EXPECT_NE(0, check_passwd_policy(nullptr, nullptr, nullptr, 0));
  passwd_policy_save_info(nullptr);
  EXPECT_GT(0, add_default_gui_dashboard(nullptr, &record, 0, 0, 1));
  EXPECT_GT(0, add_default_gui_dashboard(query, nullptr, 0, 0, 1));
}

TEST_F(Misuse, UnknownTablesAreRefused) {
  const ncfg_account record = new_account("guest");
  for (const uint32_t table : {0u, 7u, 14051u, 0xffffffffu}) {
    EXPECT_GT(0, __nCfg_sess_table_change_by_mkey(0, table, &record, &record, 0)) << table;
    EXPECT_GT(0, nCfg_table_delete_by_mkey(table, "admin")) << table;
    EXPECT_EQ(nullptr, cmf_query_create_child_with_key(nCfg_query(NCFG_TABLE_ACCOUNTS), table, "admin")) << table;
  }
}

TEST_F(Misuse, HugeKeysFindNothing) {
  const std::string huge(10'000'000, 'k');
  cmf_query *query = nCfg_query(NCFG_TABLE_ACCOUNTS);
  EXPECT_EQ(nullptr, find<ncfg_account>(query, huge.c_str()));
  EXPECT_EQ(nullptr, cmf_query_create_child_with_key(query, NCFG_TABLE_ACCOUNT_DASHBOARD, huge.c_str()));
  EXPECT_GT(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, huge.c_str()));
  EXPECT_NE(0, ssh_pubkey_data_set(huge.c_str(), "ssh-rsa AAAA", 1));
}

TEST_F(Misuse, RecordsWithoutAProperKeyAreNotAppended) {
  cmf_query *query = nCfg_query(NCFG_TABLE_ACCOUNTS);
  ncfg_account record = new_account("");
  EXPECT_GT(0, cmf_query_table_append(query, &record));
  memset(&record, 'n', sizeof record);
  EXPECT_GT(0, cmf_query_table_append(query, &record));
  EXPECT_EQ((std::vector<std::string>{"admin"}), names(NCFG_TABLE_ACCOUNTS));
}

TEST_F(Misuse, RecordsThatAreNotTerminatedDoNoHarm) {
  ncfg_account record;
  memset(&record, 'n', sizeof record);
  char reason[16];
  EXPECT_GT(0, __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_ACCOUNTS, &record, &record, 0));
  check_passwd_policy(&record, "vR7#qTz!92_mLp", reason, sizeof reason);
  EXPECT_NE(nullptr, memchr(reason, 0, sizeof reason));
  passwd_policy_save_info(&record);
  memcpy(record.name, "guest", 6);
  passwd_policy_save_info(&record);
  EXPECT_EQ(0, cmf_query_table_append(nCfg_query(NCFG_TABLE_ACCOUNTS), &record));
  EXPECT_EQ(0, write_config());
  const ncfg_account found = account("guest");
  EXPECT_EQ(0, memcmp(&record, &found, sizeof record));
}

TEST_F(Misuse, CommitOfARecordWhoseKeyWasSpoiledFails) {
  cmf_query *query = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  ncfg_account *record = find<ncfg_account>(query, "admin");
  ASSERT_NE(nullptr, record);
  memset(record->name, 'n', sizeof record->name);
  EXPECT_GT(0, cmf_query_commit(query));
  cmf_query_free(query);
  EXPECT_TRUE(has_account("admin"));
}

TEST_F(Misuse, CallsForTheOtherSortOfTableAreRefused) {
  const ncfg_event_hub settings = {};
  EXPECT_EQ(nullptr, cmf_query_update(nCfg_query(NCFG_TABLE_ACCOUNTS)));
  EXPECT_EQ(nullptr, cmf_query_do_table_find(nCfg_query(NCFG_TABLE_EVENT_HUB), 0, "", 2));
  EXPECT_GT(0, cmf_query_table_append(nCfg_query(NCFG_TABLE_EVENT_HUB), &settings));
  EXPECT_GT(0, nCfg_table_delete_by_mkey(NCFG_TABLE_EVENT_HUB, ""));
  EXPECT_NE(nullptr, cmf_query_update(nCfg_query(NCFG_TABLE_EVENT_HUB)));
}

}  // namespace
}  // namespace conformance
