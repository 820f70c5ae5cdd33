// What becomes of a process whose database another one sets aside and makes anew.
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdarg>
#include <filesystem>
#include <functional>

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

int64_t records_with_numbers_never_set_aside() {
  return rows("records AS r WHERE key_number > (SELECT last FROM numbers WHERE table_number = r.table_number)");
}

TEST_F(Reference, KeyNumbersOfAReplacedDatabaseAreNotUsedInTheNewOne) {
  OtherProcess other([](OtherProcess &self) { replace_when_told(self); });
  ASSERT_EQ(0, conf_init());
  append_with_entries("operator");
  ASSERT_EQ(0, write_config());
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

TEST_F(Reference, RecordsThatArePendingWhenTheDatabaseIsReplacedGetNumbersOfTheNewOne) {
  OtherProcess other([](OtherProcess &self) { replace_when_told(self, "theirs"); });
  ASSERT_EQ(0, conf_init());
  append_with_entries("ours");
  ASSERT_EQ(0, commit_password("ours", "later"));
  other.tell();
  ASSERT_TRUE(other.succeeded());
  EXPECT_EQ((std::vector<std::string>{"admin", "theirs", "ours"}), names(NCFG_TABLE_ACCOUNTS)) << "pending still";
  EXPECT_EQ(kEntries, dashboard("ours"));
  ASSERT_EQ(0, write_config());
  EXPECT_EQ((std::vector<std::string>{"admin", "theirs", "ours"}), names(NCFG_TABLE_ACCOUNTS));
  EXPECT_STREQ("later", account("ours").password);
  for (const char *name : {"theirs", "ours"}) {
    EXPECT_EQ(kEntries, dashboard(name)) << name;
  }
  EXPECT_EQ(0, records_with_numbers_never_set_aside());
}

TEST_F(Reference, ChangesThatArePendingWhenTheDatabaseIsReplacedChangeTheSameRecordsOnly) {
  OtherProcess other([](OtherProcess &self) { replace_when_told(self, "rival"); });
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, append_account("guest"));
  account("guest");
  const uint32_t number = nCfg_query(NCFG_TABLE_ACCOUNTS)->found_key_number;
  ASSERT_EQ(0, write_config());
  ASSERT_EQ(0, commit_password("guest", "the guest's"));
  ASSERT_EQ(0, append_dashboard("guest", 77));
  ASSERT_EQ(0, commit_password("admin", "changed"));
  other.tell();
  ASSERT_TRUE(other.succeeded());
  EXPECT_EQ(0, write_config());
  EXPECT_STREQ("stored", account("rival").password);
  EXPECT_EQ(number, nCfg_query(NCFG_TABLE_ACCOUNTS)->found_key_number) << "the numbers are the same by chance";
  EXPECT_EQ(kEntries, dashboard("rival"));
  EXPECT_STREQ("changed", account("admin").password);
  EXPECT_EQ((std::vector<std::string>{"admin", "rival"}), names(NCFG_TABLE_ACCOUNTS));
  EXPECT_TRUE(logged("platform: table 340, record \"guest\": is not in the new configuration\n"));
  EXPECT_TRUE(logged("platform: table 354, record \"\": is not in the new configuration\n"));
}

// ---- in the midst of a call ----

// While it lives, the database is moved away in front of the system call that SQLite makes as the countth of its kind.
class MovedAway {
 public:
  MovedAway(const char *call, int count) : call_(call) {
    left = count;
    machine()->xSetSystemCall(machine(), call,
                              std::string(call) == "stat" ? reinterpret_cast<sqlite3_syscall_ptr>(look)
                                                          : reinterpret_cast<sqlite3_syscall_ptr>(lock));
  }
  ~MovedAway() { machine()->xSetSystemCall(machine(), call_, nullptr); }
  MovedAway(const MovedAway &) = delete;
  MovedAway &operator=(const MovedAway &) = delete;

  static inline int left = 0;

 private:
  static sqlite3_vfs *machine() { return sqlite3_vfs_find(nullptr); }
  static void count() {
    if (left > 0 && --left == 0) {
      move_away();
    }
  }
  static int look(const char *path, struct stat *status) {
    count();
    return stat(path, status);
  }
  static int lock(int file, int command, ...) {
    count();
    va_list arguments;
    va_start(arguments, command);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    return fcntl(file, command, argument);
  }

  const char *call_;
};

struct Call {
  const char *name;
  std::function<void()> make;
};

int32_t change_admin_in_session() {
  ncfg_account changed = new_account("admin", "session");
  return __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_ACCOUNTS, &changed, &changed, 0);
}

const Call kCalls[] = {
    {"Find", [] { has_account("guest"); }},
    {"Walk", [] { names(NCFG_TABLE_ACCOUNTS); }},
    {"Commit", [] { commit_password("admin", "again"); }},
    {"Append", [] { append_account("another"); }},
    {"AppendChild", [] { append_dashboard("admin", 1); }},
    {"Write", [] { write_config(); }},
    {"Session", [] { change_admin_in_session(); }},
    {"Delete", [] { nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "guest"); }},
    {"History",
     [] {
       ncfg_account admin = new_account("admin", "another");
       passwd_policy_save_info(&admin);
     }},
};

class MovedDuring : public Reference, public ::testing::WithParamInterface<Call> {};

TEST_P(MovedDuring, TheCallUsesOneDatabaseToItsEndAndTheNextOneTheNew) {
  for (int count = 1, left = 0; left == 0; ++count) {
    SCOPED_TRACE(count);
    ASSERT_GT(100, count);
    platform_conformance_reset();
    ASSERT_EQ(0, conf_init());
    ASSERT_EQ(0, append_account("guest"));
    ASSERT_EQ(0, write_config());
    ASSERT_EQ(0, commit_password("guest", "changed"));
    ASSERT_EQ(0, commit_password("admin", "changed"));
    {
      const MovedAway moved("stat", count);
      GetParam().make();
      left = MovedAway::left;
    }
    EXPECT_FALSE(logged("misuse")) << "SQLite's word for a connection that was closed";
    ASSERT_EQ(0, commit_password("admin", "later"));
    ASSERT_EQ(0, append_account("after"));
    ASSERT_EQ(0, write_config());
    conf_end();
    ASSERT_EQ(0, conf_init());
    EXPECT_STREQ("later", account("admin").password);
    EXPECT_TRUE(has_account("after"));
    conf_end();
  }
}
INSTANTIATE_TEST_SUITE_P(Each, MovedDuring, ::testing::ValuesIn(kCalls),
                         [](const auto &call) { return std::string(call.param.name); });

TEST_F(Reference, WriteThatFindsTheDatabaseMovedWhenItHasTheLockGoesToTheNewOne) {
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, append_account("guest"));
  {
    const MovedAway moved("fcntl", 1);
    EXPECT_EQ(0, change_admin_in_session());
    ASSERT_EQ(0, MovedAway::left);
  }
  conf_end();
  ASSERT_EQ(0, conf_init());
  EXPECT_STREQ("session", account("admin").password);
  EXPECT_TRUE(has_account("guest"));
}

}  // namespace
}  // namespace conformance
