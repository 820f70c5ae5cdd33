#include "tests/platform/conformance.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace conformance {
namespace {

constexpr int kPatienceMilliseconds = 30000;

template <typename Record>
Record copy_of(uint32_t table, const char *name) {
  const Record *found = find<Record>(nCfg_query(table), name);
  EXPECT_NE(nullptr, found) << "table " << table << " has no " << name;
  return found == nullptr ? Record{} : *found;
}

template <typename Change>
int32_t commit(const char *name, Change change) {
  cmf_query *query = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  ncfg_account *record = find<ncfg_account>(query, name);
  if (record != nullptr) {
    change(*record);
  }
  const int32_t result = cmf_query_commit(query);
  cmf_query_free(query);
  return result;
}

}  // namespace

void FreshPlatform::SetUp() {
  platform_conformance_reset();
}

void FreshPlatform::TearDown() {
  conf_end();
}

void ConnectedPlatform::SetUp() {
  FreshPlatform::SetUp();
  ASSERT_EQ(0, conf_init());
}

OtherProcess::OtherProcess(const std::function<void(OtherProcess &)> &body) {
  int to_child[2];
  int to_parent[2];
  if (pipe(to_child) != 0 || pipe(to_parent) != 0) {
    throw std::runtime_error("no pipe");
  }
  fflush(nullptr);
  child_ = fork();
  if (child_ < 0) {
    throw std::runtime_error("no process");
  }
  const bool is_child = child_ == 0;
  in_ = is_child ? to_child[0] : to_parent[0];
  out_ = is_child ? to_parent[1] : to_child[1];
  close(is_child ? to_child[1] : to_child[0]);
  close(is_child ? to_parent[0] : to_parent[1]);
  if (is_child) {
    body(*this);
    fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
}

OtherProcess::~OtherProcess() {
  if (child_ > 0) {
    kill();
  }
  close(in_);
  close(out_);
}

void OtherProcess::tell() const {
  EXPECT_EQ(1, write(out_, "x", 1));
}

bool OtherProcess::wait() const {
  pollfd waiting = {.fd = in_, .events = POLLIN, .revents = 0};
  char byte = 0;
  return poll(&waiting, 1, kPatienceMilliseconds) == 1 && read(in_, &byte, 1) == 1;
}

bool OtherProcess::succeeded() {
  int status = 0;
  const bool ended = waitpid(child_, &status, 0) == child_;
  child_ = -1;
  return ended && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void OtherProcess::kill() {
  ::kill(child_, SIGKILL);
  waitpid(child_, nullptr, 0);
  child_ = -1;
}

ncfg_account account(const char *name) {
  return copy_of<ncfg_account>(NCFG_TABLE_ACCOUNTS, name);
}

ncfg_interface interface(const char *name) {
  return copy_of<ncfg_interface>(NCFG_TABLE_INTERFACES, name);
}

bool has_account(const char *name) {
  return find<ncfg_account>(nCfg_query(NCFG_TABLE_ACCOUNTS), name) != nullptr;
}

ncfg_account new_account(const char *name, const char *password) {
  ncfg_account record = {};
  copy_cmdb_default(cmdb.tables[NCFG_TABLE_ACCOUNTS], &record, sizeof record);
  snprintf(record.name, sizeof record.name, "%s", name);
  snprintf(record.password, sizeof record.password, "%s", password);
  return record;
}

int32_t append_account(const char *name) {
  cmf_query *query = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  const ncfg_account record = new_account(name);
  const int32_t result = cmf_query_table_append(query, &record);
  cmf_query_free(query);
  return result;
}

int32_t commit_password(const char *name, const char *password) {
  return commit(name, [=](ncfg_account &record) { snprintf(record.password, sizeof record.password, "%s", password); });
}

int32_t commit_name(const char *name, const char *new_name) {
  return commit(name, [=](ncfg_account &record) { snprintf(record.name, sizeof record.name, "%s", new_name); });
}

int32_t set_endpoint(const char *name, uint32_t endpoint) {
  const ncfg_interface before = interface(name);
  ncfg_interface after = before;
  after.AzureEndpoint = endpoint;
  return __nCfg_sess_table_change_by_mkey(0, NCFG_TABLE_INTERFACES, &before, &after, 0);
}

int32_t write_config() {
  return cmf_write_config(cmf_get_cur_domain_id());
}

std::vector<std::string> names(uint32_t table) {
  std::vector<std::string> found;
  cmf_query *query = cmf_query_create(table);
  for (void *record = cmf_query_table_head(query); record != nullptr; record = cmf_query_get_next(query)) {
    found.emplace_back(static_cast<const char *>(record));
  }
  cmf_query_free(query);
  return found;
}

std::vector<uint32_t> dashboard(const char *account) {
  std::vector<uint32_t> widgets;
  cmf_query *query =
      cmf_query_create_child_with_key(nCfg_query(NCFG_TABLE_ACCOUNTS), NCFG_TABLE_ACCOUNT_DASHBOARD, account);
  for (void *record = cmf_query_table_head(query); record != nullptr; record = cmf_query_get_next(query)) {
    widgets.push_back(static_cast<const ncfg_dashboard_entry *>(record)->widget);
  }
  cmf_query_free(query);
  return widgets;
}

int32_t append_dashboard(const char *account, uint32_t widget) {
  cmf_query *query =
      cmf_query_create_child_with_key(nCfg_query(NCFG_TABLE_ACCOUNTS), NCFG_TABLE_ACCOUNT_DASHBOARD, account);
  const ncfg_dashboard_entry entry = {.widget = widget, .column = 1, .open = 1, .height = 300, .reserved = {}};
  const int32_t result = cmf_query_table_append(query, &entry);
  cmf_query_free(query);
  return result;
}

}  // namespace conformance
