// What becomes of a process whose database another one sets aside and makes anew.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <utility>

#include "tests/platform/reference_fixture.h"
#include "tests/platform/reference_rows.h"

namespace conformance {
namespace {

const std::vector<uint32_t> kEntries = {1, 2, 3, 4, 5, 6, 7, 8};

void append_with_entries(const std::string &name) {
  EXPECT_EQ(0, append_account(name.c_str()));
  for (const uint32_t widget : kEntries) {
    EXPECT_EQ(0, append_dashboard(name.c_str(), widget));
  }
}

void move_away() {
  std::filesystem::rename(reference_database_path(), reference_database_path() + ".moved");
}

// For another process: when it is told, it makes a new database, in which there is an account.
void replace_when_told(const OtherProcess &self, const std::string &account = "") {
  ASSERT_TRUE(self.wait());
  move_away();
  ASSERT_EQ(0, conf_init());
  if (!account.empty()) {
    append_with_entries(account);
    EXPECT_EQ(0, write_config());
  }
  conf_end();
}

void connect_with_guest() {
  ASSERT_EQ(0, conf_init());
  append_with_entries("guest");
  ASSERT_EQ(0, write_config());
}

int64_t records_with_numbers_never_set_aside() {
  return rows("records AS r WHERE key_number > (SELECT last FROM numbers WHERE table_number = r.table_number)");
}

TEST_F(Reference, KeyNumbersOfAReplacedDatabaseAreNotUsedInTheNewOne) {
  OtherProcess other([](OtherProcess &self) { replace_when_told(self); });
  connect_with_guest();
  other.tell();
  ASSERT_TRUE(other.succeeded());
  for (const char *name : {"a", "b", "c"}) {
    append_with_entries(name);
    EXPECT_EQ(0, write_config()) << name;
  }
  for (const char *name : {"a", "b", "c"}) {
    EXPECT_EQ(kEntries, dashboard(name)) << name;
  }
  EXPECT_EQ(0, records_with_numbers_never_set_aside());
  EXPECT_EQ(0, commit_password("admin", "changed"));
  EXPECT_EQ(0, write_config());
}

std::vector<std::string> lines_with(const std::string &part) {
  std::vector<std::string> found;
  for (const std::string &line : log_lines) {
    if (line.find(part) != std::string::npos) {
      found.push_back(line);
    }
  }
  return found;
}

// In the new database the first account has the number of the first of the old one, by chance.
TEST_F(Reference, WhatIsPendingWhenTheDatabaseIsReplacedIsDroppedAndTheNextWriteFails) {
  OtherProcess other([](OtherProcess &self) { replace_when_told(self, "rival"); });
  ASSERT_EQ(0, conf_init());
  append_with_entries("guest");
  append_with_entries("visitor");
  ASSERT_EQ(0, write_config());
  ASSERT_EQ(0, commit_password("guest", "changed"));
  ASSERT_EQ(0, commit_name("visitor", "caller"));
  ASSERT_EQ(0, append_dashboard("guest", 77));
  ASSERT_EQ(0, append_dashboard("admin", 77));
  cmf_query *entries =
      cmf_query_create_child_with_key(nCfg_query(NCFG_TABLE_ACCOUNTS), NCFG_TABLE_ACCOUNT_DASHBOARD, "guest");
  static_cast<ncfg_dashboard_entry *>(cmf_query_table_head(entries))->widget = 77;
  ASSERT_EQ(0, cmf_query_commit(entries));
  cmf_query_free(entries);
  append_with_entries("ours");
  ncfg_account admin = account("admin");
  snprintf(admin.password, sizeof admin.password, "pending");
  passwd_policy_save_info(&admin);
  other.tell();
  ASSERT_TRUE(other.succeeded());
  log_lines.clear();
  EXPECT_EQ((std::vector<std::string>{"admin", "rival"}), names(NCFG_TABLE_ACCOUNTS));
  EXPECT_EQ(std::vector<std::string>{"platform: the configuration was replaced, 15 pending changes are dropped\n"},
            log_lines);
  EXPECT_NE(0, write_config());
  EXPECT_EQ(0, write_config());
  EXPECT_EQ((std::vector<std::string>{"admin", "rival"}), names(NCFG_TABLE_ACCOUNTS));
  EXPECT_STREQ("stored", account("rival").password);
  EXPECT_EQ(kEntries, dashboard("rival"));
  EXPECT_EQ((std::vector<uint32_t>{}), dashboard("admin"));
  EXPECT_EQ(0, rows("password_history"));
  EXPECT_EQ(1u, log_lines.size());
}

int32_t change_admin_in_session() {
  ncfg_account changed = new_account("admin", "session");
  return __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_ACCOUNTS, &changed, &changed, 0);
}

TEST_F(Reference, SessionChangeThatWouldTakeAlongWhatWasDroppedFailsOnce) {
  OtherProcess other([](OtherProcess &self) { replace_when_told(self); });
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, append_account("guest"));
  other.tell();
  ASSERT_TRUE(other.succeeded());
  EXPECT_GT(0, change_admin_in_session());
  EXPECT_STRNE("session", account("admin").password);
  EXPECT_EQ(0, change_admin_in_session());
  EXPECT_STREQ("session", account("admin").password);
  EXPECT_EQ(0, write_config());
}

TEST_F(Reference, WhatWasWrittenBeforeTheDatabaseWasReplacedFailsNothing) {
  OtherProcess other([](OtherProcess &self) { replace_when_told(self); });
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, write_config());
  other.tell();
  ASSERT_TRUE(other.succeeded());
  EXPECT_EQ(0, write_config());
  EXPECT_EQ(0, change_admin_in_session());
  EXPECT_TRUE(lines_with("replaced").empty());
}

TEST_F(Reference, PromisedFailureComesBehindASecondReplacement) {
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, append_account("guest"));
  move_away();
  EXPECT_FALSE(has_account("guest"));
  move_away();
  EXPECT_NE(0, write_config());
  EXPECT_EQ(0, write_config());
}

TEST_F(Reference, PromisedFailureIsOfACallThatWouldHaveSucceeded) {
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, append_account("guest"));
  move_away();
  EXPECT_GT(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "nobody"));
  EXPECT_NE(0, write_config());
  EXPECT_EQ(0, write_config());
}

TEST_F(Reference, PromisedFailureEndsWithTheConnection) {
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, append_account("guest"));
  move_away();
  EXPECT_FALSE(has_account("guest"));
  conf_end();
  ASSERT_EQ(0, conf_init());
  EXPECT_EQ(0, write_config());
}

TEST_F(Reference, QueryOfAReplacedDatabaseHasNothingToDoWithTheNewOne) {
  OtherProcess other([](OtherProcess &self) { replace_when_told(self, "rival"); });
  connect_with_guest();
  cmf_query *found = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  cmf_query *shared = nCfg_query(NCFG_TABLE_ACCOUNTS);
  cmf_query *walk = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  cmf_query *settings = cmf_query_create(NCFG_TABLE_SYSTEM_SETTINGS);
  for (cmf_query *query : {found, shared}) {
    ncfg_account *guest = find<ncfg_account>(query, "guest");
    ASSERT_NE(nullptr, guest);
    snprintf(guest->password, sizeof guest->password, "changed");
  }
  const uint32_t number = found->found_key_number;
  cmf_query *entries = cmf_query_create_child_with_key(found, NCFG_TABLE_ACCOUNT_DASHBOARD, "guest");
  cmf_query *pages = cmf_query_create_child_with_key(found, NCFG_TABLE_GUI_DASHBOARD, "guest");
  ASSERT_NE(nullptr, cmf_query_table_head(entries));
  ASSERT_NE(nullptr, cmf_query_table_head(walk));
  other.tell();
  ASSERT_TRUE(other.succeeded());
  const ncfg_account another = new_account("another");
  const ncfg_dashboard_entry entry = {.widget = 77, .column = 1, .open = 1, .height = 300, .reserved = {}};
  EXPECT_GT(0, cmf_query_commit(found));
  EXPECT_GT(0, cmf_query_commit(shared));
  EXPECT_GT(0, cmf_query_commit(entries));
  EXPECT_GT(0, cmf_query_table_append(found, &another));
  EXPECT_GT(0, cmf_query_table_append(entries, &entry));
  EXPECT_GT(0, add_default_gui_dashboard(pages, &another, 0, 0, 1));
  EXPECT_EQ(nullptr, cmf_query_get_next(walk));
  EXPECT_EQ(nullptr, cmf_query_get_next(entries));
  EXPECT_EQ(nullptr, cmf_query_table_head(entries));
  EXPECT_EQ(nullptr, cmf_query_update(settings));
  EXPECT_EQ(nullptr, cmf_query_create_child_with_key(found, NCFG_TABLE_ACCOUNT_DASHBOARD, "admin"));
  EXPECT_EQ(nullptr, find<ncfg_account>(found, "admin"));
  for (cmf_query *query : {found, walk, settings, entries, pages}) {
    cmf_query_free(query);
  }
  EXPECT_NE(0, write_config());
  EXPECT_EQ(0, write_config());
  EXPECT_EQ((std::vector<std::string>{"admin", "rival"}), names(NCFG_TABLE_ACCOUNTS));
  shared->found_key_number = 0;
  EXPECT_STREQ("stored", account("rival").password);
  EXPECT_EQ(number, shared->found_key_number) << "the shared query, opened again";
  EXPECT_EQ(kEntries, dashboard("rival"));
}

// Its number is another account's by then; the record stays where it was lent.
TEST_F(Reference, RecordThatTheSharedQueryLentCannotBeCommittedToAReplacedDatabase) {
  OtherProcess other([](OtherProcess &self) { replace_when_told(self, "rival"); });
  connect_with_guest();
  cmf_query *shared = nCfg_query(NCFG_TABLE_ACCOUNTS);
  ASSERT_NE(nullptr, cmf_query_table_head(shared));
  const ncfg_account *guest = find<ncfg_account>(shared, "guest");
  other.tell();
  ASSERT_TRUE(other.succeeded());
  EXPECT_EQ(shared, nCfg_query(NCFG_TABLE_ACCOUNTS)) << "opened again";
  EXPECT_STREQ("guest", guest->name);
  EXPECT_GT(0, cmf_query_commit(shared));
  EXPECT_EQ(nullptr, cmf_query_get_next(shared)) << "a walk of the old one ends";
  EXPECT_NE(0, write_config());
  EXPECT_EQ(0, write_config());
  EXPECT_EQ((std::vector<std::string>{"admin", "rival"}), names(NCFG_TABLE_ACCOUNTS));
  ASSERT_NE(nullptr, find<ncfg_account>(shared, "rival"));
  EXPECT_EQ(0, cmf_query_commit(shared)) << "what it lends now can be committed";
}

// Not everyone looks at what a commit returns.
TEST_F(Reference, ChangeToARecordOfAReplacedDatabaseFailsTheNextWrite) {
  ncfg_account guest = new_account("guest", "remembered");
  int32_t (*const changes[])(cmf_query *, const ncfg_account &) = {
      [](cmf_query *query, const ncfg_account &) { return cmf_query_commit(query); },
      [](cmf_query *query, const ncfg_account &record) { return cmf_query_table_append(query, &record); },
  };
  for (const auto change : changes) {
    platform_conformance_reset();
    ASSERT_EQ(0, conf_init());
    cmf_query *query = cmf_query_create(NCFG_TABLE_ACCOUNTS);
    ncfg_account *admin = find<ncfg_account>(query, "admin");
    ASSERT_NE(nullptr, admin);
    move_away();
    ASSERT_EQ(0, append_account("guest")) << "in the new one";
    snprintf(admin->password, sizeof admin->password, "remembered");
    passwd_policy_save_info(admin);
    passwd_policy_save_info(&guest);
    EXPECT_GT(0, change(query, change == changes[0] ? *admin : guest));
    EXPECT_EQ(1u, lines_with("platform: table 340, record").size());
    cmf_query_free(query);
    EXPECT_NE(0, write_config());
    EXPECT_EQ(0, write_config());
    EXPECT_EQ(1, rows("password_history"));
    EXPECT_EQ(1, rows(change == changes[0] ? "password_history WHERE account = 'guest'"
                                           : "password_history WHERE account = 'admin'"))
        << "that of the account that was not to be changed";
    conf_end();
    log_lines.clear();
  }
}

TEST_F(Reference, RefusedChangeForgetsItsOwnPasswordOnly) {
  ASSERT_EQ(0, conf_init());
  cmf_query *query = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  ncfg_account *old = find<ncfg_account>(query, "admin");
  ASSERT_NE(nullptr, old);
  move_away();
  snprintf(old->password, sizeof old->password, "old");
  passwd_policy_save_info(old);
  ASSERT_EQ(0, commit_password("admin", "new"));
  ncfg_account admin = account("admin");
  passwd_policy_save_info(&admin);
  EXPECT_GT(0, cmf_query_commit(query));
  cmf_query_free(query);
  EXPECT_NE(0, write_config());
  EXPECT_EQ(0, write_config());
  EXPECT_STREQ("new", account("admin").password);
  EXPECT_EQ(1, rows("password_history"));
  EXPECT_EQ(1, rows("password_history WHERE account = 'admin' AND password = 'new'"));
}

// ---- in the midst of a call ----

// While it lives, something happens in front of the system call that SQLite makes as the countth of its kind.
class InFrontOf {
 public:
  InFrontOf(const char *call, int count, std::function<int()> happens) : call_(call) {
    left = count;
    happens_ = std::move(happens);
    if (call_ == "stat") {
      replace("stat", reinterpret_cast<sqlite3_syscall_ptr>(look));
    } else {
      replace("pwrite", reinterpret_cast<sqlite3_syscall_ptr>(write));
      replace("pwrite64", reinterpret_cast<sqlite3_syscall_ptr>(write));
    }
  }
  ~InFrontOf() {
    for (const char *call : {"stat", "pwrite", "pwrite64"}) {
      replace(call, nullptr);
    }
  }
  InFrontOf(const InFrontOf &) = delete;
  InFrontOf &operator=(const InFrontOf &) = delete;

  static inline int left = 0;

 private:
  static void replace(const char *call, sqlite3_syscall_ptr by) {
    sqlite3_vfs *machine = sqlite3_vfs_find(nullptr);
    machine->xSetSystemCall(machine, call, by);
  }
  // 0, or the error that the call is to have.
  static int count() { return left > 0 && --left == 0 ? happens_() : 0; }
  static int look(const char *path, struct stat *status) {
    errno = count();
    return errno != 0 ? -1 : stat(path, status);
  }
  static ssize_t write(int file, const void *from, size_t size, off_t at) {
    errno = count();
    return errno != 0 ? -1 : pwrite(file, from, size, at);
  }

  static inline std::function<int()> happens_;
  const std::string call_;
};

int move_database_away() {
  move_away();
  return 0;
}

constexpr char kFactoryPassword[] = "*";

struct Call {
  const char *name;
  bool writes;
  std::function<int32_t()> make;
};

constexpr char kKey[] = "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAIHFxcXFxcXFxcXFxcXFxcXFxcXFxcXFxcXFxcXFxcXFx";

const Call kCalls[] = {
    {"Find", false, [] { return has_account("guest") ? 0 : -1; }},
    {"Walk", false, [] { return names(NCFG_TABLE_ACCOUNTS).empty() ? -1 : 0; }},
    {"Commit", false, [] { return commit_password("admin", "again"); }},
    {"Append", false, [] { return append_account("another"); }},
    {"AppendChild", false, [] { return append_dashboard("admin", 1); }},
    {"Write", true, [] { return write_config(); }},
    {"Session", true, [] { return change_admin_in_session(); }},
    {"Delete", true, [] { return nCfg_table_delete_by_mkey(NCFG_TABLE_ACCESS_PROFILES, "prof_readonly"); }},
    {"Key", true, [] { return ssh_pubkey_data_set("admin", kKey, 1); }},
    {"History", false,
     [] {
       ncfg_account admin = new_account("admin", "another");
       passwd_policy_save_info(&admin);
       return 0;
     }},
};

class MovedDuring : public Reference, public ::testing::WithParamInterface<Call> {
 protected:
  static void prepare() {
    platform_conformance_reset();
    ASSERT_EQ(0, conf_init());
    ASSERT_EQ(0, append_account("guest"));
    ASSERT_EQ(0, write_config());
    ASSERT_EQ(0, commit_password("guest", "changed"));
    ASSERT_EQ(0, commit_password("admin", "changed"));
  }
};

// Whichever of them notices, one write fails: the call, or the next one.
TEST_P(MovedDuring, TheCallUsesOneDatabaseToItsEndAndTheNextOneTheNew) {
  for (const char *system_call : {"stat", "pwrite"}) {
    for (int count = 1, left = 0; left == 0; ++count) {
      SCOPED_TRACE(std::string(system_call) + " " + std::to_string(count));
      ASSERT_GT(100, count);
      prepare();
      int failed = 0;
      {
        const InFrontOf moved(system_call, count, move_database_away);
        failed += GetParam().make() != 0 && GetParam().writes ? 1 : 0;
        left = InFrontOf::left;
      }
      EXPECT_FALSE(logged("misuse")) << "SQLite's word for a connection that was closed";
      EXPECT_STRNE(left == 0 ? "changed" : kFactoryPassword, account("admin").password);
      ASSERT_EQ(0, commit_password("admin", "later"));
      ASSERT_EQ(0, append_account("after"));
      failed += write_config() != 0 ? 1 : 0;
      EXPECT_EQ(left == 0 ? 1 : 0, failed);
      ASSERT_EQ(0, write_config());
      EXPECT_EQ(1, rows("records WHERE key = 'after'")) << "its log file is where others look for it";
      conf_end();
      ASSERT_EQ(0, conf_init());
      EXPECT_STREQ("later", account("admin").password);
      EXPECT_TRUE(has_account("after"));
      EXPECT_EQ(left != 0, has_account("guest"));
      conf_end();
    }
  }
}

TEST_P(MovedDuring, ALookThatFailsOnceIsNoReplacement) {
  for (int count = 1, left = 0; left == 0; ++count) {
    SCOPED_TRACE(count);
    ASSERT_GT(100, count);
    prepare();
    {
      const InFrontOf failing("stat", count, [] { return EIO; });
      EXPECT_EQ(0, GetParam().make());
      left = InFrontOf::left;
    }
    EXPECT_STRNE(kFactoryPassword, account("admin").password) << "what is pending, or was written";
    EXPECT_EQ(0, write_config());
    EXPECT_TRUE(lines_with("replaced").empty());
    conf_end();
    ASSERT_EQ(0, conf_init());
    EXPECT_STRNE(kFactoryPassword, account("admin").password);
    conf_end();
  }
}
INSTANTIATE_TEST_SUITE_P(Each, MovedDuring, ::testing::ValuesIn(kCalls),
                         [](const auto &call) { return std::string(call.param.name); });

TEST_F(Reference, WriteIntoADatabaseThatIsMovedAwayMeanwhileFailsAndIsReported) {
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, append_dashboard("guest", 1));
  log_lines.clear();
  {
    const InFrontOf moved("pwrite", 1, move_database_away);
    EXPECT_NE(0, write_config());
    ASSERT_EQ(0, InFrontOf::left);
  }
  EXPECT_EQ(1u, lines_with("is lost, with 2 pending changes\n").size());
  EXPECT_EQ(0, write_config());
  EXPECT_EQ((std::vector<std::string>{"admin"}), names(NCFG_TABLE_ACCOUNTS));
  {
    const InFrontOf moved("pwrite", 1, move_database_away);
    EXPECT_GT(0, change_admin_in_session());
  }
  EXPECT_EQ(1u, lines_with("is lost, with 0 pending changes\n").size());
}

TEST_F(Reference, WriteBehindWhichNoDatabaseIsFoundFailsAndIsReported) {
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, append_dashboard("guest", 1));
  {
    const InFrontOf moved("pwrite", 1, [] {
      std::filesystem::rename(database_folder(), database_folder() + ".moved");
      write_file(database_folder(), "no folder");
      return 0;
    });
    EXPECT_NE(0, write_config());
  }
  EXPECT_EQ(1u, lines_with("may be lost, with 2 pending changes\n").size());
  std::filesystem::remove(database_folder());
  EXPECT_EQ(0, write_config());
  EXPECT_EQ((std::vector<std::string>{"admin"}), names(NCFG_TABLE_ACCOUNTS));
}

}  // namespace
}  // namespace conformance
