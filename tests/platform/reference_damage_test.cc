// What the reference platform does with a database, or its log, that is damaged or of another format.
#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <set>

#include "tests/platform/reference_fixture.h"
#include "tests/platform/reference_rows.h"

namespace conformance {
namespace {

std::function<int(const std::string &)> instead_of_faccessat;  // what it answers for a name, 0 or an errno
std::function<void()> before_renameat;

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

std::set<std::string> contents_set_aside() {
  std::set<std::string> contents;
  for (const std::string &path : files_beginning("kelvane-config.db.damaged-")) {
    contents.insert(read_file(path));
  }
  return contents;
}

TEST_F(Reference, EachDamagedDatabaseIsKept) {
  for (int round = 1; round <= 3; ++round) {
    make_configuration();
    write_file(reference_database_path(), "damage " + std::to_string(round));
  }
  ASSERT_EQ(0, conf_init());
  EXPECT_EQ((std::set<std::string>{"damage 1", "damage 2", "damage 3"}), contents_set_aside());
}

TEST_F(Reference, EachStrayLogIsKept) {
  std::filesystem::create_directories(database_folder());
  for (const std::string content : {"1", "2", "3"}) {
    write_file(reference_database_path() + "-journal", content);
    ASSERT_EQ(0, conf_init());
    conf_end();
    std::filesystem::remove(reference_database_path());
  }
  EXPECT_EQ((std::set<std::string>{"1", "2", "3"}), contents_set_aside());
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

TEST_F(Reference, StrayJournalIsNotPlayedIntoANewDatabase) {
  std::filesystem::create_directories(database_folder());
  write_file(reference_database_path() + "-journal", "of another database");
  ASSERT_EQ(0, conf_init());
  EXPECT_TRUE(has_account("admin"));
  const std::vector<std::string> aside = files_beginning("kelvane-config.db.damaged-");
  ASSERT_EQ(1u, aside.size());
  EXPECT_EQ("of another database", read_file(aside[0]));
  EXPECT_EQ(std::vector<std::string>{"platform: kelvane-config.db-journal is kept as " + aside[0] + "\n"}, log_lines);
}

TEST_F(Reference, DatabaseOfWhichNobodyCanTellIsNotReplaced) {
  make_configuration();
  for (const int error : {EIO, ENOMEM, EACCES, ELOOP}) {
    instead_of_faccessat = [error](const std::string &) { return error; };
    EXPECT_GT(0, conf_init()) << error;
    instead_of_faccessat = nullptr;
    ASSERT_EQ(0, conf_init());
    EXPECT_STREQ("changed", account("admin").password) << error;
    conf_end();
  }
  EXPECT_EQ(1u, files_beginning("").size());
}

TEST_F(Reference, LogFileOfWhichNobodyCanTellIsNotPlayedIntoANewDatabase) {
  for (const std::string ending : {"-wal", "-journal"}) {
    platform_conformance_reset();
    std::filesystem::create_directories(database_folder());
    write_file(reference_database_path() + ending, "of another database");
    instead_of_faccessat = [&](const std::string &name) {
      return name == "kelvane-config.db" + ending ? EIO : name == "kelvane-config.db" ? ENOENT : 0;
    };
    EXPECT_GT(0, conf_init());
    instead_of_faccessat = nullptr;
    EXPECT_EQ("of another database", read_file(reference_database_path() + ending));
    EXPECT_FALSE(std::filesystem::exists(reference_database_path()));
  }
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
  conf_end();
  EXPECT_EQ(1u, files_beginning("").size()) << "and is removed at the end";
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

TEST_F(Reference, DamagedDatabaseAndItsLogAreSetAsideAsTheyWere) {
  make_configuration();
  leave_log_with_first_page();
  overwrite(reference_database_path(), 4096, std::string(4096, '\x5a'));
  const std::string damaged = read_file(reference_database_path());
  const std::string log = read_file(reference_database_path() + "-wal");
  ASSERT_EQ(0, conf_init());
  const std::set<std::string> contents = contents_set_aside();
  EXPECT_TRUE((contents == std::set<std::string>{damaged, log})) << contents.size() << " files";
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

// What stands in the database without its log is older, and looks whole.
TEST_F(Reference, DamagedDatabaseIsNotUsedAfterAnEndWhileItWasSetAside) {
  bool ended = true;
  for (int count = 1; ended && !HasFailure(); ++count) {
    SCOPED_TRACE(count);
    platform_conformance_reset();
    make_configuration();
    leave_log_with_first_page();
    const std::string log = reference_database_path() + "-wal";
    write_file(log, with_first_page_changed(read_file(log), 18, '\x03'));
    const std::set<std::string> damaged = {read_file(reference_database_path()), read_file(log)};
    OtherProcess other([count](OtherProcess &) {
      before_renameat = [left = count]() mutable {
        if (--left == 0) {
          raise(SIGKILL);
        }
      };
      conf_init();
    });
    ended = !other.succeeded();
    ASSERT_EQ(0, conf_init());
    EXPECT_STRNE("changed", account("admin").password);
    conf_end();
    EXPECT_TRUE(damaged == contents_set_aside());
    ASSERT_TRUE(ended || count > 3) << "the database, its log and the new database are renamed";
  }
}

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

}  // namespace
}  // namespace conformance

// In the place of the C library's, for the platform as well.
extern "C" int renameat(int from_folder, const char *from, int to_folder, const char *to) noexcept {
  if (conformance::before_renameat) {
    conformance::before_renameat();
  }
  return static_cast<int>(syscall(SYS_renameat2, from_folder, from, to_folder, to, 0));
}

extern "C" int faccessat(int folder, const char *name, int mode, int) noexcept {
  const int error = conformance::instead_of_faccessat ? conformance::instead_of_faccessat(name) : 0;
  if (error != 0) {
    errno = error;
    return -1;
  }
  return static_cast<int>(syscall(SYS_faccessat, folder, name, mode));
}
