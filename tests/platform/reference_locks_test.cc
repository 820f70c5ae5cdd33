// How long the reference platform waits for others at its files, and what it does when it has waited.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <functional>

#include "tests/platform/reference_fixture.h"
#include "tests/platform/reference_rows.h"

namespace conformance {
namespace {

std::function<int(int, int)> instead_of_flock;

int kernels_flock(int file, int operation) {
  return static_cast<int>(syscall(SYS_flock, file, operation));
}

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

TEST_F(Reference, ConnectionThatCannotBeMadeAgainLeavesWhatIsPending) {
  ASSERT_EQ(0, conf_init());
  cmf_query *query = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  ASSERT_EQ(0, append_account("guest"));
  const std::string moved = reference_database_path() + ".moved";
  std::filesystem::rename(reference_database_path(), moved);
  instead_of_flock = [](int, int) {
    errno = EIO;
    return -1;
  };
  EXPECT_NE(0, write_config());
  EXPECT_EQ(nullptr, find<ncfg_account>(query, "guest"));
  EXPECT_GT(0, append_account("another"));
  instead_of_flock = nullptr;
  EXPECT_TRUE(logged("cannot lock the configuration folder"));
  EXPECT_FALSE(std::filesystem::exists(reference_database_path()));
  std::filesystem::rename(moved, reference_database_path());
  EXPECT_NE(nullptr, find<ncfg_account>(query, "guest")) << "pending still";
  cmf_query_free(query);
  EXPECT_EQ(0, write_config());
  EXPECT_EQ(1, rows("records WHERE key = 'guest'"));
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

TEST_F(Reference, DebugRecordThatAnotherProcessReplacesMeanwhileIsShared) {
  ASSERT_EQ(0, conf_init());
  nCfg_debug_zone->agent_debug_level = 7;
  conf_end();
  const std::string record = reference_debug_record_path();
  const std::string another = record + ".another's";
  std::filesystem::rename(record, another);
  write_file(record, "of another layout");
  instead_of_flock = [&](int file, int operation) {
    struct stat status = {};
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) && std::filesystem::exists(another)) {
      std::filesystem::rename(another, record);
    }
    return kernels_flock(file, operation);
  };
  EXPECT_EQ(0, conf_init());
  instead_of_flock = nullptr;
  EXPECT_FALSE(std::filesystem::exists(another));
  EXPECT_EQ(7, nCfg_debug_zone->agent_debug_level);
}

// A mapped file stays open.
TEST_F(Reference, DebugRecordIsNotLockedAfterItWasMade) {
  ASSERT_EQ(0, conf_init());
  const int file = open(reference_debug_record_path().c_str(), O_RDONLY);
  EXPECT_EQ(0, flock(file, LOCK_EX | LOCK_NB));
  close(file);
}

// ---- copies ----

class Copies : public Reference {
 protected:
  Copies() { write_file(folder_.file("from"), "new"); }
  ~Copies() override { instead_of_flock = nullptr; }
  int32_t copy() const { return ncfg_copyfile(folder_.file("from").c_str(), folder_.file("to").c_str()); }
  std::string unfinished() const { return folder_.file(".kelvane-copy"); }

  TempDir folder_;
};

TEST_F(Copies, ACopyWaitsForAnotherProcessesInTheSameFolder) {
  OtherProcess other([&](OtherProcess &self) {
    write_file(unfinished(), "half");
    const int held = open(unfinished().c_str(), O_RDONLY);
    EXPECT_EQ(0, flock(held, LOCK_EX));
    self.tell();
    EXPECT_TRUE(self.wait()) << "nobody was refused the lock";
    EXPECT_EQ("half", read_file(unfinished()));
    close(held);
  });
  ASSERT_TRUE(other.wait());
  instead_of_flock = [&](int file, int operation) {
    const int result = kernels_flock(file, operation);
    if (result != 0) {
      other.tell();
      errno = EWOULDBLOCK;
    }
    return result;
  };
  EXPECT_EQ(0, copy());
  EXPECT_TRUE(other.succeeded());
  EXPECT_EQ("new", read_file(folder_.file("to")));
  EXPECT_FALSE(std::filesystem::exists(unfinished()));
}

TEST_F(Copies, ACopyDoesNotWaitForEver) {
  write_file(unfinished(), "half");
  const int held = open(unfinished().c_str(), O_RDONLY);
  ASSERT_EQ(0, flock(held, LOCK_EX));
  const double waited = seconds_of([&] { EXPECT_GT(0, copy()); });
  close(held);
  EXPECT_LT(2.0, waited);
  EXPECT_GT(60.0, waited);
  EXPECT_TRUE(logged("another process holds " + unfinished()));
  EXPECT_EQ("half", read_file(unfinished()));
}

// Whoever may read the folder can lock it.
TEST_F(Copies, ALockOnTheFolderIsNoMatter) {
  const int held = open(folder_.path().c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(0, flock(held, LOCK_EX));
  EXPECT_EQ(0, copy());
  close(held);
  EXPECT_EQ("new", read_file(folder_.file("to")));
}

TEST_F(Copies, AFileThatAnotherProcessFinishedMeanwhileIsNotWrittenTo) {
  instead_of_flock = [&](int file, int operation) {
    if (!std::filesystem::exists(folder_.file("another's"))) {
      std::filesystem::rename(unfinished(), folder_.file("another's"));
    }
    return kernels_flock(file, operation);
  };
  EXPECT_EQ(0, copy());
  EXPECT_EQ("new", read_file(folder_.file("to")));
  EXPECT_EQ("", read_file(folder_.file("another's")));
}

TEST_F(Copies, AFileSystemWithoutLocksIsCopiedTo) {
  for (const int error : {ENOLCK, EOPNOTSUPP, EINVAL}) {
    std::filesystem::remove(folder_.file("to"));
    instead_of_flock = [error](int, int) {
      errno = error;
      return -1;
    };
    EXPECT_EQ(0, copy()) << error;
    EXPECT_EQ("new", read_file(folder_.file("to"))) << error;
  }
}

}  // namespace
}  // namespace conformance

// In the place of the C library's, for the platform as well.
extern "C" int flock(int file, int operation) noexcept {
  using namespace conformance;
  return instead_of_flock ? instead_of_flock(file, operation) : kernels_flock(file, operation);
}
