// The reference platform's own files: what it does with damaged ones, with locks, with a full disk, and their modes.
#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <set>

#include "platform/reference/reference.h"
#include "tests/platform/conformance.h"
#include "tests/platform/reference_root.h"
#include "tests/platform/reference_rows.h"

namespace conformance {
namespace {

std::vector<std::string> log_lines;

void keep_line(const char *text, void *) {
  log_lines.emplace_back(text);
}

bool logged(const std::string &part) {
  for (const std::string &line : log_lines) {
    if (line.find(part) != std::string::npos) {
      return true;
    }
  }
  return false;
}

class Reference : public FreshPlatform {
 protected:
  void SetUp() override {
    FreshPlatform::SetUp();
    log_lines.clear();
    reference_set_log_sink(keep_line, nullptr);
  }
  void TearDown() override {
    FreshPlatform::TearDown();
    reference_set_log_sink(nullptr, nullptr);
  }

  // Connects, changes the administrator's password, and leaves.
  static void make_configuration() {
    ASSERT_EQ(0, conf_init());
    ASSERT_EQ(0, commit_password("admin", "changed"));
    ASSERT_EQ(0, write_config());
    conf_end();
  }
};

std::string database_folder() {
  return reference_root() + "/data/etc";
}

// The files in the database's folder that begin so.
std::vector<std::string> files_beginning(const std::string &start) {
  std::vector<std::string> found;
  for (const auto &entry : std::filesystem::directory_iterator(database_folder())) {
    const std::string name = entry.path().filename();
    if (name.rfind(start, 0) == 0) {
      found.push_back(entry.path());
    }
  }
  return found;
}

TEST_F(Reference, DeletedAccountLeavesNoRowBehind) {
  ASSERT_EQ(0, conf_init());
  const int64_t before = rows("records");
  ASSERT_EQ(0, append_account("guest"));
  ASSERT_EQ(0, append_dashboard("guest", 3));
  ASSERT_EQ(0, ssh_pubkey_data_set(
                   "guest", "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAIHFxcXFxcXFxcXFxcXFxcXFxcXFxcXFxcXFxcXFxcXFx", 1));
  ASSERT_EQ(before + 2, rows("records"));
  ASSERT_EQ(1, rows("ssh_keys"));
  ASSERT_EQ(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "guest"));
  EXPECT_EQ(before, rows("records"));
  EXPECT_EQ(0, rows("ssh_keys"));
}

// ---- where they are ----

TEST_F(Reference, FilesAreWhereTheRootFolderSays) {
  EXPECT_EQ(reference_root() + "/data/etc/kelvane-config.db", reference_database_path());
  EXPECT_EQ(reference_root() + "/run/kelvane-debug", reference_debug_record_path());
  ASSERT_EQ(0, conf_init());
  EXPECT_TRUE(std::filesystem::exists(reference_database_path()));
  EXPECT_TRUE(std::filesystem::exists(reference_debug_record_path()));
}

TEST_F(Reference, FilesAreOnTheApplianceWithoutARootFolder) {
  reference_set_root(nullptr);
  EXPECT_EQ("/data/etc/kelvane-config.db", reference_database_path());
  EXPECT_EQ("/run/kelvane-debug", reference_debug_record_path());
  reference_set_root("/some/where//");
  EXPECT_EQ("/some/where/data/etc/kelvane-config.db", reference_database_path());
}

TEST_F(Reference, FilesAreForTheOwnerOnly) {
  const mode_t mask = umask(0);
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, set_endpoint("port1", 1));
  umask(mask);
  size_t files = 0;
  for (const auto &entry : std::filesystem::recursive_directory_iterator(reference_root())) {
    struct stat status = {};
    ASSERT_EQ(0, stat(entry.path().c_str(), &status));
    EXPECT_EQ(entry.is_directory() ? 0700u : 0600u, status.st_mode & 07777) << entry.path();
    files += entry.is_directory() ? 0 : 1;
  }
  EXPECT_EQ(4u, files) << "the database, its two companions and the debug record";
}

TEST_F(Reference, LooseModeOfTheDatabaseIsTightened) {
  make_configuration();
  ASSERT_EQ(0, chmod(reference_database_path().c_str(), 0644));
  ASSERT_EQ(0, conf_init());
  struct stat status = {};
  ASSERT_EQ(0, stat(reference_database_path().c_str(), &status));
  EXPECT_EQ(0600u, status.st_mode & 07777);
}

TEST_F(Reference, NothingIsLeftBesideTheDatabase) {
  make_configuration();
  EXPECT_EQ(1u, files_beginning("").size());
}

std::set<std::string> open_descriptors() {
  std::set<std::string> found;
  for (int number = 0; number < 256; ++number) {
    const std::string link = "/proc/self/fd/" + std::to_string(number);
    char target[512] = "";
    if (readlink(link.c_str(), target, sizeof target - 1) > 0) {
      found.insert(std::to_string(number) + " " + target);
    }
  }
  return found;
}

// The agent closes one of its descriptors twice on purpose: a number that a call in between had taken for keeps would
// be lost to the platform.
TEST_F(Reference, NoCallAfterTheConnectionKeepsANewDescriptor) {
  ASSERT_EQ(0, conf_init());
  const std::set<std::string> before = open_descriptors();
  EXPECT_EQ(0, commit_password("admin", make_new_passwd("x", 0)));
  EXPECT_EQ(before, open_descriptors());
  ncfg_account admin = account("admin");
  passwd_policy_save_info(&admin);
  EXPECT_EQ(0, write_config());
  message("a line\n");
  log_system_event(1, 1, 6, "daemon", 1, 1, "text");
  EXPECT_EQ(0, set_endpoint("port1", 1));
  char reason[64];
  check_passwd_policy(&admin, "vR7#qTz!92_mLp", reason, sizeof reason);
  EXPECT_EQ(before, open_descriptors());
}

// ---- damage ----

struct Damage {
  const char *name;
  void (*cause)(const std::string &path);
};

class DamagedDatabase : public Reference, public ::testing::WithParamInterface<Damage> {};

TEST_P(DamagedDatabase, IsSetAsideReportedAndReplacedByTheFactoryDefaults) {
  make_configuration();
  GetParam().cause(reference_database_path());
  const std::string damaged = read_file(reference_database_path());
  ASSERT_EQ(0, conf_init());
  EXPECT_STRNE("changed", account("admin").password);
  EXPECT_EQ(0u, interface("port1").AzureEndpoint);
  const std::vector<std::string> aside = files_beginning("kelvane-config.db.damaged-");
  ASSERT_EQ(1u, aside.size());
  EXPECT_TRUE(damaged == read_file(aside[0])) << "what was set aside is what was found";
  EXPECT_TRUE(logged("the configuration database is damaged"));
  EXPECT_TRUE(logged(aside[0]));
  EXPECT_EQ(0, commit_password("admin", "new life"));
  EXPECT_EQ(0, write_config());
}

void overwrite(const std::string &path, off_t offset, const std::string &bytes) {
  const int file = open(path.c_str(), O_WRONLY);
  EXPECT_EQ(static_cast<ssize_t>(bytes.size()), pwrite(file, bytes.data(), bytes.size(), offset));
  close(file);
}

constexpr Damage kDamages[] = {
    {"Garbage", [](const std::string &path) { write_file(path, std::string(20000, 'x')); }},
    {"ZeroLength", [](const std::string &path) { write_file(path, ""); }},
    {"OneByte", [](const std::string &path) { write_file(path, "S"); }},
    {"HeaderOnly", [](const std::string &path) { std::filesystem::resize_file(path, 100); }},
    {"FirstPageOnly", [](const std::string &path) { std::filesystem::resize_file(path, 4096); }},
    {"LastByteMissing",
     [](const std::string &path) { std::filesystem::resize_file(path, std::filesystem::file_size(path) - 1); }},
    {"HalfMissing",
     [](const std::string &path) { std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2); }},
    {"HeaderOverwritten", [](const std::string &path) { overwrite(path, 0, std::string(16, '\0')); }},
    {"PageOverwritten", [](const std::string &path) { overwrite(path, 4096, std::string(4096, '\x5a')); }},
    {"AllZero", [](const std::string &path) { write_file(path, std::string(std::filesystem::file_size(path), '\0')); }},
    {"LaterVersion", [](const std::string &) { Sqlite().run("PRAGMA user_version = 2"); }},
    {"NoVersion", [](const std::string &) { Sqlite().run("PRAGMA user_version = 0"); }},
    {"AnotherProgram", [](const std::string &) { Sqlite().run("PRAGMA application_id = 1"); }},
    {"TableMissing", [](const std::string &) { Sqlite().run("DROP TABLE ssh_keys"); }},
    {"FormatOfNobody", [](const std::string &path) { overwrite(path, 47, "\x12"); }},
    {"ToBeReadOnly", [](const std::string &path) { overwrite(path, 18, "\x03"); }},
};
INSTANTIATE_TEST_SUITE_P(Each, DamagedDatabase, ::testing::ValuesIn(kDamages),
                         [](const auto &damage) { return std::string(damage.param.name); });

// What SQLite makes of a byte of its header is told by many result codes: whichever comes, there is a configuration,
// and it takes changes.
TEST_F(Reference, WithAnyByteOfTheHeaderChangedThereIsAConfigurationToChange) {
  make_configuration();
  const std::string whole = read_file(reference_database_path());
  for (size_t i = 0; i < 100; ++i) {
    for (const char value : {'\x03', '\xff'}) {
      std::string changed = whole;
      changed[i] = value;
      write_file(reference_database_path(), changed);
      ASSERT_EQ(0, conf_init()) << "byte " << i << " is " << static_cast<int>(value);
      EXPECT_EQ(0, commit_password("admin", "again")) << "byte " << i << " is " << static_cast<int>(value);
      EXPECT_EQ(0, write_config()) << "byte " << i << " is " << static_cast<int>(value);
      conf_end();
    }
  }
}

// While it lives, so many reads that SQLite makes beyond the first page of a file fail.
class FailingReads {
 public:
  explicit FailingReads(int count) {
    left = count;
    machine()->xSetSystemCall(machine(), "pread", reinterpret_cast<sqlite3_syscall_ptr>(read));
    machine()->xSetSystemCall(machine(), "pread64", reinterpret_cast<sqlite3_syscall_ptr>(read));
  }
  ~FailingReads() {
    machine()->xSetSystemCall(machine(), "pread", nullptr);
    machine()->xSetSystemCall(machine(), "pread64", nullptr);
  }
  FailingReads(const FailingReads &) = delete;
  FailingReads &operator=(const FailingReads &) = delete;

  static inline int left = 0;

 private:
  static sqlite3_vfs *machine() { return sqlite3_vfs_find(nullptr); }
  static ssize_t read(int file, void *to, size_t size, off_t at) {
    if (at < 4096 || left == 0) {
      return pread(file, to, size, at);
    }
    left--;
    errno = EIO;
    return -1;
  }
};

TEST_F(Reference, ReadThatFailsOnceIsNoDamage) {
  make_configuration();
  const FailingReads reads(1);
  ASSERT_EQ(0, conf_init());
  EXPECT_EQ(0, FailingReads::left);
  EXPECT_STREQ("changed", account("admin").password);
  EXPECT_EQ(0u, files_beginning("kelvane-config.db.damaged-").size());
  ASSERT_EQ(1u, log_lines.size());
  EXPECT_TRUE(logged("platform: the configuration database looks damaged, it is looked at again: "));
}

TEST_F(Reference, DatabaseThatCannotBeReadTwiceIsDamaged) {
  make_configuration();
  const FailingReads reads(2);  // one for each look
  ASSERT_EQ(0, conf_init());
  EXPECT_EQ(0, FailingReads::left);
  EXPECT_EQ(1u, files_beginning("kelvane-config.db.damaged-").size());
}

TEST_F(Reference, EachDamagedDatabaseIsKept) {
  for (int round = 1; round <= 3; ++round) {
    make_configuration();
    write_file(reference_database_path(), "damage " + std::to_string(round));
  }
  ASSERT_EQ(0, conf_init());
  std::set<std::string> contents;
  for (const std::string &path : files_beginning("kelvane-config.db.damaged-")) {
    contents.insert(read_file(path));
  }
  EXPECT_EQ((std::set<std::string>{"damage 1", "damage 2", "damage 3"}), contents);
}

TEST_F(Reference, StrayLogFileIsNotPlayedIntoANewDatabase) {
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, commit_password("admin", "changed"));
  ASSERT_EQ(0, write_config());
  const std::string log = reference_database_path() + "-wal";
  const std::string content = read_file(log);
  ASSERT_FALSE(content.empty());
  conf_end();
  ASSERT_EQ(0, unlink(reference_database_path().c_str()));
  write_file(log, content);
  ASSERT_EQ(0, conf_init());
  EXPECT_STRNE("changed", account("admin").password);
  EXPECT_EQ(1u, files_beginning("kelvane-config.db.damaged-").size());
}

TEST_F(Reference, LogFileOfAKilledProcessIsPlayedIn) {
  OtherProcess other([](OtherProcess &self) {
    ASSERT_EQ(0, conf_init());
    EXPECT_EQ(0, commit_password("admin", "changed"));
    EXPECT_EQ(0, write_config());
    self.tell();
    pause();
  });
  ASSERT_TRUE(other.wait());
  other.kill();
  EXPECT_LT(0u, std::filesystem::file_size(reference_database_path() + "-wal"));
  ASSERT_EQ(0, conf_init());
  EXPECT_STREQ("changed", account("admin").password);
  EXPECT_EQ(0u, files_beginning("kelvane-config.db.damaged-").size());
}

// As a loss of power leaves it: the database as it was before something wrote its first page, and the whole log of
// that.
void leave_log_with_first_page() {
  const std::string path = reference_database_path();
  std::string before;
  std::string log;
  {
    Sqlite writer;
    before = read_file(path);
    writer.run("CREATE TABLE other (one); DROP TABLE other");
    log = read_file(path + "-wal");
  }
  ASSERT_FALSE(log.empty());
  write_file(path, before);
  write_file(path + "-wal", log);
}

class TornFirstPage : public Reference, public ::testing::WithParamInterface<Damage> {};

// Torn while the log was played in: SQLite takes the page from the log, and so does the next start.
TEST_P(TornFirstPage, IsMendedByTheLog) {
  make_configuration();
  leave_log_with_first_page();
  GetParam().cause(reference_database_path());
  ASSERT_EQ(0, conf_init());
  EXPECT_STREQ("changed", account("admin").password);
  EXPECT_EQ(0u, files_beginning("kelvane-config.db.damaged-").size());
  EXPECT_TRUE(log_lines.empty()) << log_lines.front();
  EXPECT_EQ(0, commit_password("admin", "again"));
  EXPECT_EQ(0, write_config());
}
constexpr Damage kTears[] = {
    {"SectorOfZeros", [](const std::string &path) { overwrite(path, 0, std::string(512, '\0')); }},
    {"SectorOfAnything", [](const std::string &path) { overwrite(path, 0, std::string(512, '\x5a')); }},
    {"PageOfZeros", [](const std::string &path) { overwrite(path, 0, std::string(4096, '\0')); }},
    {"LaterFormat", [](const std::string &path) { overwrite(path, 18, "\x03"); }},
};
INSTANTIATE_TEST_SUITE_P(Each, TornFirstPage, ::testing::ValuesIn(kTears),
                         [](const auto &tear) { return std::string(tear.param.name); });

struct LogSum {
  uint32_t first = 0;
  uint32_t second = 0;

  void add(const char *bytes, size_t size) {
    for (size_t at = 0; at < size; at += 8) {
      uint32_t words[2];
      memcpy(words, bytes + at, sizeof words);
      first += words[0] + second;
      second += words[1] + first;
    }
  }
  void write(char *to) const {
    const uint32_t words[2] = {htonl(first), htonl(second)};
    memcpy(to, words, sizeof words);
  }
};

// The log with this byte of the first page changed wherever the page stands in it, and its sums as they are then.
std::string with_first_page_changed(std::string log, size_t offset, char value) {
  constexpr size_t kHead = 32;
  constexpr size_t kFrameHead = 24;
  constexpr size_t kPage = 4096;
  LogSum sum;
  sum.add(&log[0], kHead - 8);
  for (size_t at = kHead; at + kFrameHead + kPage <= log.size(); at += kFrameHead + kPage) {
    char *const frame = &log[at];
    char *const page = frame + kFrameHead;
    if (memcmp(frame, "\0\0\0\1", 4) == 0) {
      page[offset] = value;
    }
    sum.add(frame, 8);
    sum.add(page, kPage);
    sum.write(frame + 16);
  }
  return log;
}

class LaterFormatInTheLog : public Reference, public ::testing::WithParamInterface<size_t> {};

TEST_P(LaterFormatInTheLog, IsSetAside) {
  make_configuration();
  leave_log_with_first_page();
  const std::string log = reference_database_path() + "-wal";
  write_file(log, with_first_page_changed(read_file(log), GetParam(), '\x03'));
  ASSERT_EQ(0, conf_init());
  EXPECT_STRNE("changed", account("admin").password);
  EXPECT_NE(0u, files_beginning("kelvane-config.db.damaged-").size());
  EXPECT_TRUE(logged("the configuration database is damaged"));
  EXPECT_EQ(0, commit_password("admin", "again"));
  EXPECT_EQ(0, write_config());
}
INSTANTIATE_TEST_SUITE_P(Each, LaterFormatInTheLog, ::testing::Values(18, 19));

// That the test above damages nothing else.
TEST_F(Reference, LogWithNewSumsIsPlayedIn) {
  make_configuration();
  leave_log_with_first_page();
  const std::string log = reference_database_path() + "-wal";
  write_file(log, with_first_page_changed(read_file(log), 18, '\x02'));
  overwrite(reference_database_path(), 0, std::string(4096, '\0'));
  ASSERT_EQ(0, conf_init());
  EXPECT_STREQ("changed", account("admin").password);
}

TEST_F(Reference, LeftoverOfAnInterruptedFirstStartIsNoMatter) {
  std::filesystem::create_directories(database_folder());
  write_file(database_folder() + "/.kelvane-config.db.new", "half made");
  ASSERT_EQ(0, conf_init());
  EXPECT_EQ(0u, files_beginning(".kelvane-config.db.new").size());
  EXPECT_TRUE(log_lines.empty()) << log_lines.front();
}

TEST_F(Reference, DatabaseReplacedUnderARunningProcessIsTakenUp) {
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, commit_password("admin", "changed"));
  ASSERT_EQ(0, write_config());
  ASSERT_EQ(0, rename(reference_database_path().c_str(), (reference_database_path() + ".moved").c_str()));
  EXPECT_STRNE("changed", account("admin").password) << "the factory defaults";
  EXPECT_EQ(0, set_endpoint("port1", 3));
  conf_end();
  ASSERT_EQ(0, conf_init());
  EXPECT_EQ(3u, interface("port1").AzureEndpoint);
}

TEST_F(Reference, FolderThatCannotBeMadeFailsTheConnection) {
  write_file(reference_root(), "a file where the folder should be");
  EXPECT_GT(0, conf_init());
  EXPECT_EQ(nullptr, nCfg_query(NCFG_TABLE_ACCOUNTS));
  EXPECT_FALSE(log_lines.empty());
  ASSERT_NE(nullptr, nCfg_debug_zone) << "the process has a record of its own then";
  nCfg_debug_zone->agent_debug_level = 0;
  EXPECT_EQ(0, unlink(reference_root().c_str()));
  EXPECT_EQ(0, conf_init());
}

// ---- locks ----

double seconds_of(const std::function<void()> &body) {
  const auto begin = std::chrono::steady_clock::now();
  body();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

TEST_F(Reference, LockedDatabaseFailsWritesAfterABoundedWaitAndKeepsThePending) {
  ASSERT_EQ(0, conf_init());
  Sqlite other;
  other.run("BEGIN IMMEDIATE");
  ASSERT_EQ(0, commit_password("admin", "changed"));
  const double waited = seconds_of([] { EXPECT_NE(0, write_config()); });
  EXPECT_LT(1.0, waited);
  EXPECT_GT(60.0, waited);
  EXPECT_GT(0, set_endpoint("port1", 4));
  EXPECT_EQ(0u, interface("port1").AzureEndpoint) << "look-ups go on";
  EXPECT_STREQ("changed", account("admin").password) << "still pending";
  EXPECT_TRUE(logged("locked"));
  other.run("ROLLBACK");
  EXPECT_EQ(0, write_config());
  conf_end();
  ASSERT_EQ(0, conf_init());
  EXPECT_STREQ("changed", account("admin").password);
  EXPECT_EQ(0u, interface("port1").AzureEndpoint);
}

TEST_F(Reference, ShortLockIsWaitedOut) {
  OtherProcess other([](OtherProcess &self) {
    ASSERT_TRUE(self.wait());
    Sqlite holder;
    holder.run("BEGIN IMMEDIATE");
    self.tell();
    usleep(500'000);
    holder.run("ROLLBACK");
  });
  ASSERT_EQ(0, conf_init());
  other.tell();
  ASSERT_TRUE(other.wait());
  EXPECT_EQ(0, set_endpoint("port1", 4));
  EXPECT_TRUE(other.succeeded());
}

TEST_F(Reference, ConnectionWaitsForAnotherThatIsBeingMade) {
  std::filesystem::create_directories(database_folder());
  OtherProcess other([](OtherProcess &self) {
    const int folder = open(database_folder().c_str(), O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(0, flock(folder, LOCK_EX));
    self.tell();
    usleep(1'500'000);
    close(folder);
  });
  ASSERT_TRUE(other.wait());
  const double waited = seconds_of([] { EXPECT_EQ(0, conf_init()); });
  EXPECT_LT(0.3, waited);
  EXPECT_TRUE(other.succeeded());
}

TEST_F(Reference, ConnectionDoesNotWaitForEver) {
  std::filesystem::create_directories(database_folder());
  const int folder = open(database_folder().c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(0, flock(folder, LOCK_EX));
  const double waited = seconds_of([] { EXPECT_GT(0, conf_init()); });
  close(folder);
  EXPECT_LT(2.0, waited);
  EXPECT_GT(60.0, waited);
  EXPECT_TRUE(logged("another process holds the configuration folder"));
}

TEST_F(Reference, LockedDatabaseLosesAnEventButNothingElse) {
  ASSERT_EQ(0, conf_init());
  Sqlite other;
  other.run("BEGIN IMMEDIATE");
  log_system_event(1, 1, 6, "daemon", 1, 1, "text");
  other.run("ROLLBACK");
  EXPECT_TRUE(reference_events(0).empty());
}

TEST_F(Reference, WriteWithNothingPendingNeedsNoLock) {
  ASSERT_EQ(0, conf_init());
  Sqlite other;
  other.run("BEGIN IMMEDIATE");
  EXPECT_EQ(0, write_config());
}

// ---- full disk ----

// Files cannot grow while this lives.
class FullDisk {
 public:
  FullDisk() {
    signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit none = before_;
    none.rlim_cur = 0;
    setrlimit(RLIMIT_FSIZE, &none);
  }
  ~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, SIG_DFL);
  }
  FullDisk(const FullDisk &) = delete;
  FullDisk &operator=(const FullDisk &) = delete;

 private:
  rlimit before_ = {};
};

TEST_F(Reference, FullDiskFailsTheWriteAndLeavesTheOldConfiguration) {
  make_configuration();
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, commit_password("admin", "never written"));
  {
    const FullDisk full;
    EXPECT_NE(0, write_config());
    EXPECT_GT(0, set_endpoint("port1", 4));
    EXPECT_GT(0, append_account("guest"));
    EXPECT_GT(0, nCfg_table_delete_by_mkey(NCFG_TABLE_ACCOUNTS, "admin"));
    EXPECT_STREQ("never written", account("admin").password) << "still pending";
  }
  conf_end();
  ASSERT_EQ(0, conf_init());
  EXPECT_STREQ("changed", account("admin").password);
  EXPECT_EQ(0u, interface("port1").AzureEndpoint);
  EXPECT_EQ(0u, files_beginning("kelvane-config.db.damaged-").size());
}

TEST_F(Reference, WriteSucceedsOnceTheDiskHasRoomAgain) {
  make_configuration();
  ASSERT_EQ(0, conf_init());
  ASSERT_EQ(0, commit_password("admin", "in the end"));
  {
    const FullDisk full;
    EXPECT_NE(0, write_config());
  }
  EXPECT_EQ(0, write_config());
  conf_end();
  ASSERT_EQ(0, conf_init());
  EXPECT_STREQ("in the end", account("admin").password);
}

TEST_F(Reference, FullDiskOnTheFirstStartLeavesNoHalfMadeDatabase) {
  {
    const FullDisk full;
    EXPECT_GT(0, conf_init());
    EXPECT_NE(nullptr, nCfg_debug_zone);
    EXPECT_EQ(0u, files_beginning("").size());
  }
  EXPECT_EQ(0, conf_init());
  EXPECT_TRUE(has_account("admin"));
}

TEST_F(Reference, FullDiskLeavesTheDestinationOfACopyAlone) {
  const TempDir folder;
  write_file(folder.file("from"), "new");
  write_file(folder.file("to"), "old");
  {
    const FullDisk full;
    EXPECT_GT(0, ncfg_copyfile(folder.file("from").c_str(), folder.file("to").c_str()));
  }
  EXPECT_EQ("old", read_file(folder.file("to")));
  const std::filesystem::directory_iterator files(folder.file(""));
  EXPECT_EQ(2, std::distance(files, std::filesystem::directory_iterator()));
}

TEST_F(Reference, ACopyThatAStoppedProcessLeftUnfinishedDoesNotStay) {
  const TempDir folder;
  write_file(folder.file("from"), "new");
  write_file(folder.file(".copy"), "half of anoth");
  EXPECT_EQ(0, ncfg_copyfile(folder.file("from").c_str(), folder.file("to").c_str()));
  EXPECT_EQ("new", read_file(folder.file("to")));
  EXPECT_FALSE(std::filesystem::exists(folder.file(".copy")));
}

TEST_F(Reference, ACopyWaitsForAnotherProcessInTheFolder) {
  const TempDir folder;
  write_file(folder.file("from"), "new");
  OtherProcess other([&](OtherProcess &self) {
    const int held = open(folder.file("").c_str(), O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(0, flock(held, LOCK_EX));
    write_file(folder.file(".copy"), "half");
    self.tell();
    usleep(1'000'000);
    EXPECT_EQ("half", read_file(folder.file(".copy")));
    close(held);
  });
  ASSERT_TRUE(other.wait());
  EXPECT_EQ(0, ncfg_copyfile(folder.file("from").c_str(), folder.file("to").c_str()));
  EXPECT_TRUE(other.succeeded());
  EXPECT_EQ("new", read_file(folder.file("to")));
}

// ---- debug record ----

TEST_F(Reference, DebugRecordHasTheOperatingSystemsVersion) {
  ASSERT_EQ(0, conf_init());
  EXPECT_EQ(0, strncmp("Linux ", nCfg_debug_zone->os_version, 6)) << nCfg_debug_zone->os_version;
  EXPECT_LT(6u, strlen(nCfg_debug_zone->os_version));
}

TEST_F(Reference, DebugRecordOfAnotherLayoutIsReplaced) {
  for (const std::string &content : {std::string(), std::string("x"), std::string(4000, 'x'), std::string(152, '\0')}) {
    ASSERT_EQ(0, conf_init());
    conf_end();
    write_file(reference_debug_record_path() + ".new", content);
    ASSERT_EQ(0, rename((reference_debug_record_path() + ".new").c_str(), reference_debug_record_path().c_str()));
    ASSERT_EQ(0, conf_init());
    EXPECT_EQ(0, nCfg_debug_zone->agent_debug_level);
    nCfg_debug_zone->agent_debug_level = 7;
    conf_end();
    ASSERT_EQ(0, conf_init());
    EXPECT_EQ(7, nCfg_debug_zone->agent_debug_level) << "shared again";
  }
}

TEST_F(Reference, DebugRecordIsNeverReachedThroughASymbolicLink) {
  const std::string victim = reference_root() + "/victim";
  std::filesystem::create_directories(reference_root() + "/run");
  write_file(victim, "precious");
  ASSERT_EQ(0, symlink(victim.c_str(), reference_debug_record_path().c_str()));
  ASSERT_EQ(0, conf_init());
  nCfg_debug_zone->agent_debug_level = 7;
  EXPECT_EQ("precious", read_file(victim));
}

}  // namespace
}  // namespace conformance
