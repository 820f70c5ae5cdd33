// How long the reference platform waits for others at its files, and what it does when it has waited.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <functional>

#include "tests/platform/reference_fixture.h"
#include "tests/platform/reference_rows.h"

namespace conformance {
namespace {

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

}  // namespace
}  // namespace conformance
