// The conformance suite's own tools: a fresh configuration for each test, verbs over platform.h, and a second process
// to test with. The suite uses nothing of a platform but platform.h and the one function that it supplies.
#ifndef KELVANE_TESTS_PLATFORM_CONFORMANCE_H
#define KELVANE_TESTS_PLATFORM_CONFORMANCE_H

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "tests/platform/reset.h"
#include "tests/support/files.h"

namespace conformance {

// Each test begins with no configuration and not connected.
class FreshPlatform : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
};

// Each test begins connected to the factory configuration.
class ConnectedPlatform : public FreshPlatform {
 protected:
  void SetUp() override;
};

// A process beside the test's. It must be started before the test connects, as no connection lives through a fork.
class OtherProcess {
 public:
  // Runs body in a child process, which ends with it. A failed expectation in it makes succeeded() false.
  explicit OtherProcess(const std::function<void(OtherProcess &)> &body);
  ~OtherProcess();
  OtherProcess(const OtherProcess &) = delete;
  OtherProcess &operator=(const OtherProcess &) = delete;

  // For either side: tells the other one to go on; waits to be told, for half a minute at the most (false then).
  void tell() const;
  bool wait() const;

  // For the test: waits for the end of the process; ends it at once with SIGKILL.
  bool succeeded();
  void kill();

 private:
  pid_t child_ = -1;
  int in_ = -1;
  int out_ = -1;
};

// ---- verbs ----

template <typename Record>
Record *find(cmf_query *query, const char *key) {
  return static_cast<Record *>(cmf_query_do_table_find(query, 0, key, 2));
}

// A copy of what the table holds now, looked up through the shared query; a zeroed record and a failure when missing.
ncfg_account account(const char *name);
ncfg_interface interface(const char *name);
bool has_account(const char *name);

// The table's default record with this name and this stored password.
ncfg_account new_account(const char *name, const char *password = "stored");
int32_t append_account(const char *name);

// The account's stored password or its name replaced through a query (pending), or an interface's endpoint (durable).
int32_t commit_password(const char *name, const char *password);
int32_t commit_name(const char *name, const char *new_name);
int32_t set_endpoint(const char *name, uint32_t endpoint);

int32_t write_config();

// The names (keyed tables) in walking order.
std::vector<std::string> names(uint32_t table);

// The widget fields of an account's dashboard, in walking order; appending one.
std::vector<uint32_t> dashboard(const char *account);
int32_t append_dashboard(const char *account, uint32_t widget);

using support::read_file;
using support::TempDir;
using support::write_file;

}  // namespace conformance

#endif
