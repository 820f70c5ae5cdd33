// What the reference platform keeps of passwords and events, and what becomes of pending changes that another program
// has overtaken: as the rows of its database show it.
#include <cstring>
#include <utility>

#include "platform/reference/reference.h"
#include "tests/platform/conformance.h"
#include "tests/platform/reference_rows.h"

namespace conformance {
namespace {

constexpr char kFirst[] = "vR7#qTz!92_mLp";
constexpr char kUnused[] = "Tn9&cXo:35-jUs";

class ReferenceRows : public ConnectedPlatform {
 protected:
  void SetUp() override {
    ConnectedPlatform::SetUp();
    reference_set_log_sink([](const char *text, void *context) { static_cast<std::string *>(context)->append(text); },
                           &log_);
  }
  void TearDown() override {
    ConnectedPlatform::TearDown();
    reference_set_log_sink(nullptr, nullptr);
  }

  static void save(const char *stored, const char *name = "admin") {
    ncfg_account record = new_account(name, stored);
    passwd_policy_save_info(&record);
  }
  static bool is_refused(const char *password, const char *name) {
    const ncfg_account record = new_account(name, "");
    char reason[512] = "";
    return check_passwd_policy(&record, password, reason, sizeof reason) != 0;
  }

  std::string log_;
};

TEST_F(ReferenceRows, PasswordThatIsTheNewestAlreadyTakesNoRoom) {
  const std::string first = make_new_passwd(kFirst, 0);
  save(first.c_str());
  save("second");
  save("second");
  ASSERT_EQ(0, write_config());
  EXPECT_EQ(2, rows("password_history"));
  for (int i = 0; i < 5; ++i) {
    save("second");
    ASSERT_EQ(0, write_config());
  }
  EXPECT_EQ(2, rows("password_history"));
  EXPECT_EQ(true, is_refused(kFirst, "admin"));
}

TEST_F(ReferenceRows, FivePasswordsOfEachAccountAreKept) {
  ASSERT_EQ(0, append_account("guest"));
  save("another account's", "guest");
  for (const char *stored : {"1", "2", "3", "4", "5", "6", "7"}) {
    save(stored);
  }
  ASSERT_EQ(0, write_config());
  EXPECT_EQ(6, rows("password_history"));
}

TEST_F(ReferenceRows, PendingPasswordsPushTheOldestOut) {
  const std::string first = make_new_passwd(kFirst, 0);
  for (const char *stored : {first.c_str(), "2", "3", "4", "5"}) {
    save(stored);
  }
  ASSERT_EQ(0, write_config());
  EXPECT_EQ(true, is_refused(kFirst, "admin"));
  save("6");
  EXPECT_EQ(false, is_refused(kFirst, "admin"));
}

TEST_F(ReferenceRows, PasswordsFollowARenamedAccount) {
  ASSERT_EQ(0, append_account("guest"));
  save(make_new_passwd(kFirst, 0), "guest");
  ASSERT_EQ(0, write_config());
  const ncfg_account before = account("guest");
  ncfg_account after = before;
  memcpy(after.name, "visitor", 8);
  ASSERT_EQ(0, __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_ACCOUNTS, &before, &after, 0));
  EXPECT_EQ(true, is_refused(kFirst, "visitor"));
  EXPECT_EQ(false, is_refused(kFirst, "guest"));
}

TEST_F(ReferenceRows, PasswordOfTwoClassesIsRefused) {
  EXPECT_EQ(true, is_refused("wqzr7391kvmt", "admin"));
  EXPECT_EQ(false, is_refused("wqzR7391kvmt", "admin"));
}

TEST_F(ReferenceRows, PasswordThatCannotBeCheckedIsRefusedWithATerminatedReason) {
  Sqlite().run("DROP TABLE password_history");
  const ncfg_account record = new_account("admin", "");
  char reason[8] = "xxxxxxx";
  EXPECT_NE(0, check_passwd_policy(&record, kUnused, reason, sizeof reason));
  EXPECT_STREQ("", reason);
}

TEST_F(ReferenceRows, RecordOfALookThatFailedIsTheNextOfTheWalk) {
  for (const char *name : {"guest", "gone", "last"}) {
    ASSERT_EQ(0, append_account(name));
  }
  ASSERT_EQ(0, write_config());
  cmf_query *walk = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  ASSERT_NE(nullptr, cmf_query_table_head(walk));
  Sqlite().run("DELETE FROM records WHERE key = 'gone'; ALTER TABLE records RENAME TO hidden");
  EXPECT_EQ(nullptr, cmf_query_get_next(walk));
  EXPECT_EQ(0u, walk->found_key_number);
  Sqlite().run("ALTER TABLE hidden RENAME TO records");
  for (const char *name : {"guest", "last"}) {
    const auto *record = static_cast<const ncfg_account *>(cmf_query_get_next(walk));
    ASSERT_NE(nullptr, record) << name;
    EXPECT_STREQ(name, record->name);
  }
  EXPECT_EQ(nullptr, cmf_query_get_next(walk));
  ASSERT_NE(nullptr, cmf_query_table_head(walk));
  Sqlite().run("ALTER TABLE records RENAME TO hidden");
  EXPECT_EQ(nullptr, cmf_query_table_head(walk));
  Sqlite().run("ALTER TABLE hidden RENAME TO records");
  EXPECT_EQ(nullptr, cmf_query_get_next(walk)) << "the walk before is over";
  cmf_query_free(walk);
}

TEST_F(ReferenceRows, ThousandEventsAreKept) {
  Sqlite().run(
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000) "
      "INSERT INTO events SELECT i, 0, 1, 1, 6, 'daemon', 1, 1, 'old' FROM n");
  log_system_event(2, 1, 6, "daemon", 1, 1, "new");
  const std::vector<reference_event> events = reference_events(0);
  ASSERT_EQ(1000u, events.size());
  EXPECT_EQ(2, events.front().number);
  EXPECT_EQ(1001, events.back().number);
  EXPECT_EQ("new", events.back().text);
}

TEST_F(ReferenceRows, ChildOfAnOwnerThatWasDeletedMeanwhileIsNotWritten) {
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, write_config());
  ASSERT_EQ(0, append_dashboard("guest", 3));
  Sqlite().run("DELETE FROM records WHERE key = 'guest'");
  const int64_t before = rows("records");
  EXPECT_EQ(0, write_config());
  EXPECT_EQ(before, rows("records"));
  EXPECT_NE(std::string::npos, log_.find("platform: table 354, record \"\": its owner is not there\n")) << log_;
}

TEST_F(ReferenceRows, KeyNumberThatWasUsedMeanwhileIsNoMatter) {
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, append_dashboard("guest", 3));
  account("guest");
  const std::string number = std::to_string(nCfg_query(NCFG_TABLE_ACCOUNTS)->found_key_number);
  Sqlite().run(("UPDATE records SET key_number = " + number + " WHERE key = 'admin'").c_str());
  EXPECT_EQ(0, write_config());
  EXPECT_EQ((std::vector<std::string>{"admin", "guest"}), names(NCFG_TABLE_ACCOUNTS));
  EXPECT_EQ((std::vector<uint32_t>{3}), dashboard("guest"));
  EXPECT_EQ((std::vector<uint32_t>{}), dashboard("admin"));
}

// ---- names that change while they are pending ----

// What another process writes.
void give_name(const std::string &from, const std::string &to) {
  Sqlite().run(("UPDATE records SET key = '" + to + "', record = CAST('" + to +
                "' AS BLOB) || zeroblob(length(record) - " + std::to_string(to.size()) + ") WHERE key = '" + from + "'")
                   .c_str());
}

cmf_query *query_pages(const char *account) {
  return cmf_query_create_child_with_key(nCfg_query(NCFG_TABLE_ACCOUNTS), NCFG_TABLE_GUI_DASHBOARD, account);
}

void append_page(const char *account, const char *name) {
  ncfg_gui_dashboard page = {};
  snprintf(page.name, sizeof page.name, "%s", name);
  cmf_query *pages = query_pages(account);
  EXPECT_EQ(0, cmf_query_table_append(pages, &page));
  cmf_query_free(pages);
}

TEST_F(ReferenceRows, NameThatARecordHadOnlyWhileItWasPendingIsNobodys) {
  ASSERT_EQ(0, append_account("theirs"));
  ASSERT_EQ(0, write_config());
  ASSERT_EQ(0, append_account("draft"));
  ASSERT_EQ(0, append_dashboard("draft", 3));
  ASSERT_EQ(0, commit_name("draft", "guest"));
  give_name("theirs", "draft");
  EXPECT_EQ(0, write_config());
  EXPECT_STREQ("", account("draft").password) << "as the other process left it";
  EXPECT_EQ((std::vector<uint32_t>{}), dashboard("draft"));
  EXPECT_STREQ("stored", account("guest").password);
  EXPECT_EQ((std::vector<uint32_t>{3}), dashboard("guest"));
  EXPECT_EQ("", log_);
}

TEST_F(ReferenceRows, NameOfAnExchangeInBetweenIsNobodys) {
  for (const char *name : {"a", "b", "theirs"}) {
    ASSERT_EQ(0, append_account(name));
    ASSERT_EQ(0, commit_password(name, name));
  }
  ASSERT_EQ(0, write_config());
  ASSERT_EQ(0, commit_name("a", "spare"));
  ASSERT_EQ(0, commit_name("b", "a"));
  ASSERT_EQ(0, commit_name("spare", "b"));
  give_name("theirs", "spare");
  EXPECT_EQ(0, write_config());
  EXPECT_EQ((std::vector<std::string>{"admin", "b", "a", "spare"}), names(NCFG_TABLE_ACCOUNTS));
  EXPECT_STREQ("b", account("a").password);
  EXPECT_STREQ("a", account("b").password);
  EXPECT_STREQ("", account("spare").password);
  EXPECT_EQ("", log_);
}

TEST_F(ReferenceRows, PasswordsFollowAPendingRename) {
  ASSERT_EQ(0, append_account("guest"));
  save(make_new_passwd(kFirst, 0), "guest");
  ASSERT_EQ(0, write_config());
  save(make_new_passwd(kUnused, 0), "guest");
  ASSERT_EQ(0, commit_name("guest", "visitor"));
  ASSERT_EQ(0, append_account("guest"));
  for (const bool written : {false, true}) {
    SCOPED_TRACE(written);
    EXPECT_EQ(true, is_refused(kFirst, "visitor")) << "was durable under the old name";
    EXPECT_EQ(true, is_refused(kUnused, "visitor")) << "was pending under the old name";
    EXPECT_EQ(false, is_refused(kFirst, "guest"));
    EXPECT_EQ(false, is_refused(kUnused, "guest"));
    EXPECT_EQ(0, write_config());
  }
}

TEST_F(ReferenceRows, RenameToANameThatWasGivenAwayMeanwhileIsNotWritten) {
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, append_account("rival"));
  ASSERT_EQ(0, write_config());
  ASSERT_EQ(0, commit_name("guest", "visitor"));
  save(make_new_passwd(kFirst, 0), "visitor");
  ASSERT_EQ(0, commit_password("admin", "changed"));
  ASSERT_EQ(0, commit_name("admin", "guest"));
  give_name("rival", "visitor");
  EXPECT_EQ(0, write_config());
  EXPECT_EQ((std::vector<std::string>{"admin", "guest", "visitor"}), names(NCFG_TABLE_ACCOUNTS));
  EXPECT_EQ(0, rows("password_history"));
  EXPECT_EQ(
      "platform: table 340, record \"visitor\": another record has the name\n"
      "platform: table 340, record \"guest\": another record has the name\n",
      log_)
      << "the guest keeps the name that the administrator was to have";
  EXPECT_STRNE("changed", account("admin").password);
}

// Its account is deleted, so that we make another of the name, and then that is given away as well.
TEST_F(ReferenceRows, RenameThatIsNotWrittenForgetsItsOwnPasswordsOnly) {
  for (const bool saved_first : {true, false}) {
    SCOPED_TRACE(saved_first);
    ASSERT_EQ(0, append_account("first"));
    ASSERT_EQ(0, append_account("rival"));
    ASSERT_EQ(0, write_config());
    ASSERT_EQ(0, commit_name("first", "guest"));
    save("the first one's", "guest");
    save("the first one's second", "guest");
    Sqlite().run("DELETE FROM records WHERE key = 'first'");
    if (saved_first) {
      save("the new one's", "guest");
    }
    ASSERT_EQ(0, append_account("guest"));
    if (!saved_first) {
      save("the new one's", "guest");
    }
    give_name("rival", "guest");
    EXPECT_EQ(0, write_config());
    EXPECT_EQ(
        "platform: table 340, record \"guest\": another record has the name\n"
        "platform: table 340, record \"guest\": is there already, and is replaced\n",
        std::exchange(log_, ""));
    EXPECT_EQ(1, rows("password_history"));
    EXPECT_EQ(1, rows("password_history WHERE account = 'guest' AND password = 'the new one''s'"));
    ASSERT_EQ(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "guest"));
  }
}

// Its number is another record's by chance.
TEST_F(ReferenceRows, NewAccountOfANameThatDoesNotComeFreeIsNotWritten) {
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, append_dashboard("guest", 3));
  ASSERT_EQ(0, append_account("rival"));
  ASSERT_EQ(0, write_config());
  ASSERT_EQ(0, commit_name("guest", "visitor"));
  save(make_new_passwd(kFirst, 0), "guest");
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, commit_password("guest", "new"));
  ASSERT_EQ(0, append_dashboard("guest", 5));
  save(make_new_passwd(kUnused, 0), "guest");
  save("another's", "other");
  ASSERT_EQ(0, append_account("other"));
  account("guest");
  const std::string number = std::to_string(nCfg_query(NCFG_TABLE_ACCOUNTS)->found_key_number);
  Sqlite().run(("UPDATE records SET key_number = " + number + " WHERE key = 'admin'").c_str());
  give_name("rival", "visitor");
  EXPECT_EQ(0, write_config());
  EXPECT_EQ((std::vector<std::string>{"guest", "visitor", "admin", "other"}), names(NCFG_TABLE_ACCOUNTS));
  EXPECT_STREQ("stored", account("guest").password);
  EXPECT_EQ((std::vector<uint32_t>{3}), dashboard("guest"));
  EXPECT_EQ((std::vector<uint32_t>{}), dashboard("admin"));
  EXPECT_EQ(1, rows("password_history")) << "the other's";
  EXPECT_EQ(
      "platform: table 340, record \"visitor\": another record has the name\n"
      "platform: table 340, record \"guest\": another record has the name\n"
      "platform: table 354, record \"\": its owner is not there\n",
      log_);
}

// An account of ours takes the place of one whose page we are to rename, and has a page of that name.
TEST_F(ReferenceRows, PagesOfTwoAccountsThatBecomeOneAreWritten) {
  ASSERT_EQ(0, append_account("guest"));
  append_page("guest", "status");
  Sqlite().run(
      "INSERT INTO records VALUES (340, 900, 0, 'theirs', CAST('theirs' AS BLOB));"
      "INSERT INTO records VALUES (14050, 900, 900, 'page', CAST('page' AS BLOB))");
  cmf_query *pages = query_pages("theirs");
  ncfg_gui_dashboard *page = find<ncfg_gui_dashboard>(pages, "page");
  ASSERT_NE(nullptr, page);
  memcpy(page->name, "status", 7);
  ASSERT_EQ(0, cmf_query_commit(pages));
  give_name("theirs", "guest");
  EXPECT_EQ(0, write_config());
  EXPECT_EQ(0, write_config());
  EXPECT_EQ((std::vector<std::string>{"admin", "guest"}), names(NCFG_TABLE_ACCOUNTS));
  EXPECT_EQ(1, rows("records WHERE table_number = 14050 AND key_number = 900 AND key = 'status'"));
  EXPECT_EQ(
      "platform: table 340, record \"guest\": is there already, and is replaced\n"
      "platform: table 14050, record \"status\": is there already, and is replaced\n",
      log_);
  cmf_query_free(pages);
}

TEST_F(ReferenceRows, NothingIsReportedOfAWriteThatFailed) {
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, append_account("rival"));
  ASSERT_EQ(0, write_config());
  ASSERT_EQ(0, commit_name("guest", "visitor"));
  give_name("rival", "visitor");
  EXPECT_GT(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "nobody"));
  EXPECT_EQ("", log_);
  EXPECT_EQ(0, write_config());
  EXPECT_EQ("platform: table 340, record \"visitor\": another record has the name\n", log_);
}

}  // namespace
}  // namespace conformance
