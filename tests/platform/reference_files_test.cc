// The reference platform's own files: where they are, for whom, what a full disk leaves of them, and the debug
// record's.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <set>

#include "tests/platform/reference_fixture.h"
#include "tests/platform/reference_rows.h"

namespace conformance {
namespace {

std::function<void(int)> after_fsync;
std::function<void(int, const char *)> after_mkdirat;

ino_t inode_of(int file) {
  struct stat status = {};
  EXPECT_EQ(0, fstat(file, &status));
  return status.st_ino;
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

TEST_F(Reference, LooseModesAreTightened) {
  make_configuration();
  for (const std::string &path : {reference_database_path(), reference_debug_record_path()}) {
    ASSERT_EQ(0, chmod(path.c_str(), 0666));
    ASSERT_EQ(0, conf_init());
    conf_end();
    EXPECT_EQ(0600, support::mode_of(path)) << path;
  }
}

TEST_F(Reference, EachFolderThatIsMadeIsSynced) {
  std::vector<std::string> made;
  std::multimap<ino_t, std::string> unsynced;
  after_mkdirat = [&](int folder, const char *name) {
    EXPECT_TRUE(unsynced.empty()) << unsynced.begin()->second << " is not synced when " << name << " is made";
    made.emplace_back(name);
    unsynced.emplace(inode_of(folder), name);
  };
  after_fsync = [&](int file) { unsynced.erase(inode_of(file)); };
  EXPECT_EQ(0, conf_init());
  after_mkdirat = nullptr;
  after_fsync = nullptr;
  EXPECT_EQ(4u, made.size()) << "the root, run, data and etc";
  EXPECT_TRUE(unsynced.empty()) << unsynced.begin()->second;
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
  write_file(folder.file(".kelvane-copy"), "half of anoth");
  EXPECT_EQ(0, ncfg_copyfile(folder.file("from").c_str(), folder.file("to").c_str()));
  EXPECT_EQ("new", read_file(folder.file("to")));
  EXPECT_FALSE(std::filesystem::exists(folder.file(".kelvane-copy")));
}

TEST_F(Reference, ACopyIsNeverWrittenToWhatIsNoRegularFile) {
  for (const bool link : {true, false}) {
    const TempDir folder;
    write_file(folder.file("from"), "new");
    write_file(folder.file("victim"), "");
    const std::string unfinished = folder.file(".kelvane-copy");
    ASSERT_EQ(0, link ? symlink("victim", unfinished.c_str()) : mkfifo(unfinished.c_str(), 0600));
    const int reader = link ? -1 : open(unfinished.c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_GT(0, ncfg_copyfile(folder.file("from").c_str(), folder.file("to").c_str()));
    EXPECT_EQ("", read_file(folder.file("victim")));
    EXPECT_FALSE(std::filesystem::exists(folder.file("to")));
    EXPECT_TRUE(logged(link ? "cannot open " + unfinished : unfinished + " is no regular file"));
    close(reader);
  }
}

// Below the stack's end is what calls that are over have left there. A few words may be: registers that were put there.
TEST_F(Reference, ACopyLeavesNothingOfTheFileInMemory) {
  const TempDir folder;
  std::string text;
  for (int i = 0; i < 1000; ++i) {
    text += "<UserPassword>Plum-Harbour-42!</UserPassword>\n";
  }
  write_file(folder.file("from"), text);
  std::string below(128 * 1024, '\0');
  const int memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, ncfg_copyfile(folder.file("from").c_str(), folder.file("to").c_str()));
  const auto here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  ASSERT_EQ(static_cast<ssize_t>(below.size()),
            pread(memory, below.data(), below.size(), static_cast<off_t>(here - below.size())));
  close(memory);
  EXPECT_EQ(std::string::npos, below.find(text.substr(0, 1000)));
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

TEST_F(Reference, DebugRecordStaysSharedWhenItCannotBeMappedAgain) {
  const std::string folder = reference_root() + "/run";
  ASSERT_EQ(0, conf_init());
  std::filesystem::rename(folder, folder + ".moved");
  write_file(folder, "no folder");
  log_lines.clear();
  ASSERT_EQ(0, conf_init());
  EXPECT_TRUE(logged("platform: debug record: ")) << "it could not";
  nCfg_debug_zone->agent_debug_level = 7;
  std::filesystem::remove(folder);
  std::filesystem::rename(folder + ".moved", folder);
  ASSERT_EQ(0, conf_init());
  EXPECT_EQ(7, nCfg_debug_zone->agent_debug_level);
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

// In the place of the C library's, for the platform as well.
extern "C" int fsync(int file) {
  const int result = static_cast<int>(syscall(SYS_fsync, file));
  if (conformance::after_fsync) {
    conformance::after_fsync(file);
  }
  return result;
}

extern "C" int mkdirat(int folder, const char *name, mode_t mode) noexcept {
  const int result = static_cast<int>(syscall(SYS_mkdirat, folder, name, mode));
  if (conformance::after_mkdirat) {
    conformance::after_mkdirat(folder, name);
  }
  return result;
}
