// What is durable when, session changes, deletion, and two processes at once.
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "tests/platform/conformance.h"

namespace conformance {
namespace {

using Durability = ConnectedPlatform;
using Processes = FreshPlatform;

void reconnect() {
  conf_end();
  ASSERT_EQ(0, conf_init());
}

[[noreturn]] void stay_until_killed() {
  for (;;) {
    pause();
  }
}

TEST_F(Durability, CommitIsDroppedWithoutAWrite) {
  const std::string before = account("admin").password;
  ASSERT_EQ(0, commit_password("admin", "changed"));
  reconnect();
  EXPECT_EQ(before, account("admin").password);
}

TEST_F(Durability, AppendIsDroppedWithoutAWrite) {
  ASSERT_EQ(0, append_account("guest"));
  reconnect();
  EXPECT_FALSE(has_account("guest"));
}

TEST_F(Durability, WriteKeepsEverythingPending) {
  ASSERT_EQ(0, commit_password("admin", "changed"));
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, append_dashboard("guest", 3));
  ASSERT_EQ(0, commit_password("guest", "later"));
  ASSERT_EQ(0, write_config());
  reconnect();
  EXPECT_STREQ("changed", account("admin").password);
  EXPECT_STREQ("later", account("guest").password);
  EXPECT_EQ((std::vector<uint32_t>{3}), dashboard("guest"));
}

// Accounts whose stored password is their first name.
void append_named(const std::vector<const char *> &names) {
  for (const char *name : names) {
    const ncfg_account record = new_account(name, name);
    EXPECT_EQ(0, cmf_query_table_append(nCfg_query(NCFG_TABLE_ACCOUNTS), &record));
  }
}

TEST_F(Durability, NamesThatPendingChangesFreeCanBeGiven) {
  append_named({"a", "b", "c"});
  ASSERT_EQ(0, write_config());
  ASSERT_EQ(0, commit_name("b", "spare"));
  ASSERT_EQ(0, commit_name("a", "b"));
  append_named({"a"});
  ASSERT_EQ(0, append_dashboard("a", 4));
  ASSERT_EQ(0, commit_name("c", "d"));
  ASSERT_EQ(0, commit_name("spare", "c"));
  ASSERT_EQ(0, write_config());
  reconnect();
  EXPECT_EQ((std::vector<std::string>{"admin", "b", "c", "d", "a"}), names(NCFG_TABLE_ACCOUNTS));
  EXPECT_STREQ("a", account("b").password);
  EXPECT_STREQ("b", account("c").password);
  EXPECT_STREQ("c", account("d").password);
  EXPECT_STREQ("a", account("a").password);
  EXPECT_EQ((std::vector<uint32_t>{4}), dashboard("a"));
}

TEST_F(Durability, NamesCanBeExchangedBeforeTheRecordsAreWrittenAndAfter) {
  append_named({"a", "b"});
  for (const char *first : {"a", "b"}) {
    const char *second = *first == 'a' ? "b" : "a";
    ASSERT_EQ(0, commit_name(second, "spare"));
    ASSERT_EQ(0, commit_name(first, second));
    ASSERT_EQ(0, commit_name("spare", first));
    EXPECT_FALSE(has_account("spare"));
    EXPECT_EQ((std::vector<std::string>{"admin", second, first}), names(NCFG_TABLE_ACCOUNTS)) << "pending";
    ASSERT_EQ(0, write_config());
    EXPECT_EQ((std::vector<std::string>{"admin", second, first}), names(NCFG_TABLE_ACCOUNTS));
    EXPECT_STREQ("a", account(second).password);
    EXPECT_STREQ("b", account(first).password);
  }
}

TEST_F(Durability, WriteWithNothingPendingSucceeds) {
  EXPECT_EQ(0, write_config());
}

TEST_F(Durability, WriteOfAnotherDomainFailsAndKeepsThePending) {
  ASSERT_EQ(0, commit_password("admin", "changed"));
  EXPECT_NE(0, cmf_write_config(cmf_get_cur_domain_id() + 1));
  EXPECT_STREQ("changed", account("admin").password);
  EXPECT_EQ(0, write_config());
}

TEST_F(Durability, SessionChangeIsDurableAtOnce) {
  ASSERT_EQ(0, set_endpoint("port1", 0x10813fa8));
  EXPECT_EQ(0x10813fa8u, interface("port1").AzureEndpoint);
  reconnect();
  EXPECT_EQ(0x10813fa8u, interface("port1").AzureEndpoint);
}

TEST_F(Durability, SessionChangeTakesPendingChangesWithIt) {
  ASSERT_EQ(0, commit_password("admin", "changed"));
  ASSERT_EQ(0, set_endpoint("port1", 7));
  EXPECT_STREQ("changed", account("admin").password);
  EXPECT_EQ(0, write_config());
  reconnect();
  EXPECT_STREQ("changed", account("admin").password);
  EXPECT_EQ(7u, interface("port1").AzureEndpoint);
}

TEST_F(Durability, SessionChangeReplacesAPendingOneOfTheSameRecord) {
  ASSERT_EQ(0, commit_password("admin", "pending"));
  ncfg_account changed = account("admin");
  memcpy(changed.password, "session", 8);
  ASSERT_EQ(0, __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_ACCOUNTS, &changed, &changed, 0));
  EXPECT_STREQ("session", account("admin").password);
  ASSERT_EQ(0, write_config());
  EXPECT_STREQ("session", account("admin").password);
}

TEST_F(Durability, SessionChangeOfALentRecordWithItself) {
  ncfg_interface *port = find<ncfg_interface>(nCfg_query(NCFG_TABLE_INTERFACES), "port1");
  ASSERT_NE(nullptr, port);
  port->addressing_mode = NCFG_ADDRESSING_DHCP;
  EXPECT_EQ(0, __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_INTERFACES, port, port, 0));
  reconnect();
  EXPECT_EQ(uint32_t{NCFG_ADDRESSING_DHCP}, interface("port1").addressing_mode);
}

TEST_F(Durability, SessionChangeKeepsTheKeyNumberAndTheChildren) {
  ASSERT_EQ(0, append_dashboard("admin", 21));
  ASSERT_EQ(0, write_config());
  ncfg_account changed = account("admin");
  const uint32_t number = nCfg_query(NCFG_TABLE_ACCOUNTS)->found_key_number;
  memcpy(changed.password, "session", 8);
  ASSERT_EQ(0, __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_ACCOUNTS, &changed, &changed, 0));
  EXPECT_STREQ("session", account("admin").password);
  EXPECT_EQ(number, nCfg_query(NCFG_TABLE_ACCOUNTS)->found_key_number);
  EXPECT_EQ((std::vector<uint32_t>{21}), dashboard("admin"));
}

TEST_F(Durability, SessionChangeOfARecordThatIsNotThereFails) {
  ncfg_interface nobody = interface("port1");
  memcpy(nobody.name, "port9", 6);
  EXPECT_GT(0, __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_INTERFACES, &nobody, &nobody, 0));
  EXPECT_EQ(nullptr, find<ncfg_interface>(nCfg_query(NCFG_TABLE_INTERFACES), "port9"));
}

TEST_F(Durability, FailedSessionChangeLeavesPendingChangesPending) {
  ASSERT_EQ(0, commit_password("admin", "changed"));
  ncfg_interface nobody = interface("port1");
  memcpy(nobody.name, "port9", 6);
  EXPECT_GT(0, __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_INTERFACES, &nobody, &nobody, 0));
  EXPECT_STREQ("changed", account("admin").password);
  reconnect();
  EXPECT_STRNE("changed", account("admin").password);
}

TEST_F(Durability, DeleteIsDurableAtOnceAndTakesTheChildrenAlong) {
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, append_dashboard("guest", 3));
  ASSERT_EQ(0, write_config());
  ASSERT_EQ(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "guest"));
  EXPECT_FALSE(has_account("guest"));
  reconnect();
  EXPECT_FALSE(has_account("guest"));
  ASSERT_EQ(0, append_account("guest"));
  EXPECT_EQ((std::vector<uint32_t>{}), dashboard("guest"));
}

TEST_F(Durability, DeleteOfAPendingRecordLeavesNothing) {
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, append_dashboard("guest", 3));
  ASSERT_EQ(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "guest"));
  EXPECT_FALSE(has_account("guest"));
  ASSERT_EQ(0, write_config());
  EXPECT_FALSE(has_account("guest"));
}

TEST_F(Durability, DeleteLeavesOtherRecordsAlone) {
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, append_dashboard("admin", 8));
  ASSERT_EQ(0, write_config());
  ASSERT_EQ(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "guest"));
  EXPECT_EQ((std::vector<std::string>{"admin"}), names(NCFG_TABLE_ACCOUNTS));
  EXPECT_EQ((std::vector<uint32_t>{8}), dashboard("admin"));
}

TEST_F(Durability, DeleteOfWhatIsNotThereFails) {
  EXPECT_GT(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "nobody"));
  EXPECT_GT(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, ""));
  EXPECT_GT(0, nCfg_table_delete_by_mkey(9999, "admin"));
  EXPECT_TRUE(has_account("admin"));
}

TEST_F(Durability, ConnectionMayBeMadeTwice) {
  ASSERT_EQ(0, commit_password("admin", "changed"));
  EXPECT_EQ(0, conf_init());
  EXPECT_STREQ("changed", account("admin").password);
}

TEST_F(Processes, KilledAfterTheWriteReturnedLosesNothing) {
  OtherProcess other([](OtherProcess &self) {
    ASSERT_EQ(0, conf_init());
    EXPECT_EQ(0, commit_password("admin", "changed"));
    EXPECT_EQ(0, append_account("guest"));
    EXPECT_EQ(0, append_dashboard("guest", 4));
    EXPECT_EQ(0, write_config());
    self.tell();
    stay_until_killed();
  });
  ASSERT_TRUE(other.wait());
  other.kill();
  ASSERT_EQ(0, conf_init());
  EXPECT_STREQ("changed", account("admin").password);
  EXPECT_EQ((std::vector<uint32_t>{4}), dashboard("guest"));
}

TEST_F(Processes, KilledBeforeTheWriteLeavesTheOldConfiguration) {
  OtherProcess other([](OtherProcess &self) {
    ASSERT_EQ(0, conf_init());
    EXPECT_EQ(0, commit_password("admin", "changed"));
    EXPECT_EQ(0, append_account("guest"));
    self.tell();
    stay_until_killed();
  });
  ASSERT_TRUE(other.wait());
  other.kill();
  ASSERT_EQ(0, conf_init());
  EXPECT_STRNE("changed", account("admin").password);
  EXPECT_EQ((std::vector<std::string>{"admin"}), names(NCFG_TABLE_ACCOUNTS));
}

TEST_F(Processes, KilledAtAnyMomentLeavesWholeWritesOnly) {
  for (int round = 0; round < 8; ++round) {
    OtherProcess other([](OtherProcess &self) {
      ASSERT_EQ(0, conf_init());
      self.tell();
      for (int i = 0;; ++i) {
        const std::string text = std::to_string(i);
        commit_password("admin", text.c_str());
        cmf_query *query = cmf_query_create(NCFG_TABLE_SYSTEM_SETTINGS);
        auto *settings = static_cast<ncfg_system_settings *>(cmf_query_update(query));
        snprintf(settings->host_name, sizeof settings->host_name, "%s", text.c_str());
        cmf_query_commit(query);
        cmf_query_free(query);
        write_config();
      }
    });
    ASSERT_TRUE(other.wait());
    usleep(20000 + 7000 * static_cast<useconds_t>(round));
    other.kill();
    ASSERT_EQ(0, conf_init());
    const auto *settings =
        static_cast<const ncfg_system_settings *>(cmf_query_update(nCfg_query(NCFG_TABLE_SYSTEM_SETTINGS)));
    ASSERT_NE(nullptr, settings);
    if (round > 0 || account("admin").password[0] != '*') {
      EXPECT_STREQ(account("admin").password, settings->host_name) << "round " << round;
    }
    conf_end();
  }
}

TEST_F(Processes, EachSeesTheOthersSessionChanges) {
  OtherProcess other([](OtherProcess &self) {
    ASSERT_EQ(0, conf_init());
    self.tell();
    ASSERT_TRUE(self.wait());
    EXPECT_EQ(1u, interface("port1").AzureEndpoint);
    EXPECT_EQ(0, set_endpoint("port1", 2));
    self.tell();
  });
  ASSERT_TRUE(other.wait());
  ASSERT_EQ(0, conf_init());
  EXPECT_EQ(0u, interface("port1").AzureEndpoint);
  ASSERT_EQ(0, set_endpoint("port1", 1));
  other.tell();
  ASSERT_TRUE(other.wait());
  EXPECT_EQ(2u, interface("port1").AzureEndpoint);
  EXPECT_TRUE(other.succeeded());
}

TEST_F(Processes, PendingChangesStayPrivateUntilWritten) {
  OtherProcess other([](OtherProcess &self) {
    ASSERT_EQ(0, conf_init());
    ASSERT_TRUE(self.wait());
    EXPECT_FALSE(has_account("guest"));
    self.tell();
    ASSERT_TRUE(self.wait());
    EXPECT_TRUE(has_account("guest"));
  });
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, append_account("guest"));
  other.tell();
  ASSERT_TRUE(other.wait());
  ASSERT_EQ(0, write_config());
  other.tell();
  EXPECT_TRUE(other.succeeded());
}

TEST_F(Processes, PendingChangesAndOpenWalksHinderNobody) {
  OtherProcess other([](OtherProcess &self) {
    ASSERT_EQ(0, conf_init());
    ASSERT_TRUE(self.wait());
    EXPECT_EQ(0, set_endpoint("port1", 5));
    EXPECT_EQ(0, append_account("theirs"));
    EXPECT_EQ(0, write_config());
    self.tell();
  });
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, append_account("ours"));
  cmf_query *walk = cmf_query_create(NCFG_TABLE_INTERFACES);
  ASSERT_NE(nullptr, cmf_query_table_head(walk));
  other.tell();
  ASSERT_TRUE(other.wait());
  EXPECT_EQ(5u, interface("port1").AzureEndpoint);
  EXPECT_EQ(0, write_config());
  EXPECT_TRUE(has_account("ours"));
  EXPECT_TRUE(has_account("theirs"));
  cmf_query_free(walk);
  EXPECT_TRUE(other.succeeded());
}

TEST_F(Processes, RecordsOfTwoProcessesHaveKeyNumbersOfTheirOwn) {
  OtherProcess other([](OtherProcess &self) {
    ASSERT_EQ(0, conf_init());
    EXPECT_EQ(0, append_account("theirs"));
    self.tell();
    ASSERT_TRUE(self.wait());
    EXPECT_EQ(0, write_config());
  });
  ASSERT_EQ(0, conf_init());
  ASSERT_TRUE(other.wait());
  ASSERT_EQ(0, append_account("ours"));
  account("ours");
  const uint32_t ours = nCfg_query(NCFG_TABLE_ACCOUNTS)->found_key_number;
  ASSERT_EQ(0, write_config());
  other.tell();
  EXPECT_TRUE(other.succeeded());
  account("theirs");
  EXPECT_NE(ours, nCfg_query(NCFG_TABLE_ACCOUNTS)->found_key_number);
  account("ours");
  EXPECT_EQ(ours, nCfg_query(NCFG_TABLE_ACCOUNTS)->found_key_number);
}

TEST_F(Processes, WalkMergesPendingAndOthersRecordsInKeyNumberOrder) {
  OtherProcess other([](OtherProcess &self) {
    ASSERT_EQ(0, conf_init());
    ASSERT_TRUE(self.wait());
    EXPECT_EQ(0, append_account("theirs"));
    EXPECT_EQ(0, write_config());
  });
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, append_account("ours"));
  other.tell();
  ASSERT_TRUE(other.succeeded());
  cmf_query *query = nCfg_query(NCFG_TABLE_ACCOUNTS);
  std::vector<uint32_t> numbers;
  for (void *record = cmf_query_table_head(query); record != nullptr; record = cmf_query_get_next(query)) {
    numbers.push_back(query->found_key_number);
  }
  ASSERT_EQ(3u, numbers.size());
  EXPECT_LT(numbers[0], numbers[1]);
  EXPECT_LT(numbers[1], numbers[2]);
}

TEST_F(Processes, WriteSucceedsThoughAnotherProcessDeletedTheRecord) {
  OtherProcess other([](OtherProcess &self) {
    ASSERT_EQ(0, conf_init());
    ASSERT_TRUE(self.wait());
    EXPECT_EQ(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "guest"));
  });
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, write_config());
  ASSERT_EQ(0, commit_password("guest", "changed"));
  ASSERT_EQ(0, append_dashboard("guest", 1));
  ASSERT_EQ(0, commit_password("admin", "changed"));
  other.tell();
  ASSERT_TRUE(other.succeeded());
  EXPECT_FALSE(has_account("guest"));
  EXPECT_EQ(0, write_config());
  EXPECT_FALSE(has_account("guest"));
  EXPECT_STREQ("changed", account("admin").password);
}

TEST_F(Processes, TwoThatMakeTheSameRecordEndWithOne) {
  OtherProcess other([](OtherProcess &self) {
    ASSERT_EQ(0, conf_init());
    ASSERT_TRUE(self.wait());
    EXPECT_EQ(0, append_account("guest"));
    EXPECT_EQ(0, write_config());
  });
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, append_dashboard("guest", 6));
  cmf_query *entries =
      cmf_query_create_child_with_key(nCfg_query(NCFG_TABLE_ACCOUNTS), NCFG_TABLE_ACCOUNT_DASHBOARD, "guest");
  EXPECT_NE(nullptr, cmf_query_table_head(entries));
  other.tell();
  ASSERT_TRUE(other.succeeded());
  EXPECT_EQ(0, write_config());
  const ncfg_dashboard_entry entry = {.widget = 7, .column = 1, .open = 1, .height = 300, .reserved = {}};
  EXPECT_EQ(nullptr, cmf_query_table_head(entries)) << "the record has the other's number";
  EXPECT_GT(0, cmf_query_table_append(entries, &entry));
  cmf_query_free(entries);
  EXPECT_EQ(0, write_config());
  EXPECT_EQ((std::vector<std::string>{"admin", "guest"}), names(NCFG_TABLE_ACCOUNTS));
  EXPECT_EQ((std::vector<uint32_t>{6}), dashboard("guest"));
}

TEST_F(Processes, BothMayMakeTheFirstConnectionAtOnce) {
  OtherProcess first([](OtherProcess &) {
    ASSERT_EQ(0, conf_init());
    EXPECT_EQ(0, append_account("first"));
    EXPECT_EQ(0, write_config());
  });
  OtherProcess second([](OtherProcess &) {
    ASSERT_EQ(0, conf_init());
    EXPECT_EQ(0, append_account("second"));
    EXPECT_EQ(0, write_config());
  });
  EXPECT_TRUE(first.succeeded());
  EXPECT_TRUE(second.succeeded());
  ASSERT_EQ(0, conf_init());
  EXPECT_TRUE(has_account("first"));
  EXPECT_TRUE(has_account("second"));
}

TEST_F(Processes, ShareTheDebugRecord) {
  OtherProcess other([](OtherProcess &self) {
    ASSERT_EQ(0, conf_init());
    ASSERT_NE(nullptr, nCfg_debug_zone);
    self.tell();
    ASSERT_TRUE(self.wait());
    EXPECT_EQ(7, nCfg_debug_zone->agent_debug_level);
    nCfg_debug_zone->test_command = 99;
    self.tell();
  });
  ASSERT_TRUE(other.wait());
  ASSERT_EQ(0, conf_init());
  ASSERT_NE(nullptr, nCfg_debug_zone);
  nCfg_debug_zone->agent_debug_level = 7;
  other.tell();
  ASSERT_TRUE(other.wait());
  EXPECT_EQ(99u, nCfg_debug_zone->test_command);
  EXPECT_TRUE(other.succeeded());
}

}  // namespace
}  // namespace conformance
