#include "platform/reference/history.h"

#include <ctime>

#include "platform/platform.h"
#include "platform/reference/database.h"
#include "platform/reference/sqlite.h"

namespace kelvane::reference {
namespace {

struct Entry {
  std::string account;
  std::string password;
  int64_t time;
};

std::vector<Entry> pending;

}  // namespace

void history_add(const std::string &account, const std::string &password) {
  if (database() == nullptr) {
    return;
  }
  const std::vector<std::string> known = history_of(account);
  if (known.empty() || known.front() != password) {
    pending.push_back({.account = account, .password = password, .time = time(nullptr)});
  }
}

std::vector<std::string> history_of(const std::string &account) {
  std::vector<std::string> passwords;
  for (auto entry = pending.rbegin(); entry != pending.rend(); ++entry) {
    if (entry->account == account) {
      passwords.push_back(entry->password);
    }
  }
  sqlite3 *handle = database();
  if (handle != nullptr) {
    Statement statement(handle, "SELECT password FROM password_history WHERE account = ? ORDER BY number DESC");
    statement.bind(account);
    while (statement.step()) {
      passwords.push_back(statement.text(0));
    }
  }
  if (passwords.size() > kHistoryLength) {
    passwords.resize(kHistoryLength);
  }
  return passwords;
}

void history_write(sqlite3 *handle) {
  for (const Entry &entry : pending) {
    Statement(handle,
              "INSERT INTO password_history (account, password, time) SELECT ?1, ?2, ?3 "
              "WHERE EXISTS (SELECT 1 FROM records WHERE table_number = ?4 AND key = ?1)")
        .bind(entry.account)
        .bind(entry.password)
        .bind(entry.time)
        .bind(int64_t{NCFG_TABLE_ACCOUNTS})
        .step();
    Statement(handle,
              "DELETE FROM password_history WHERE account = ?1 AND number NOT IN "
              "(SELECT number FROM password_history WHERE account = ?1 ORDER BY number DESC LIMIT ?2)")
        .bind(entry.account)
        .bind(int64_t{kHistoryLength})
        .step();
  }
}

void history_rename(sqlite3 *handle, const std::string &account, const std::string &new_name) {
  Statement(handle, "UPDATE password_history SET account = ? WHERE account = ?").bind(new_name).bind(account).step();
}

void history_forget(sqlite3 *handle, const std::string &account) {
  Statement(handle, "DELETE FROM password_history WHERE account = ?").bind(account).step();
}

bool history_has_pending() {
  return !pending.empty();
}

void history_drop() {
  pending.clear();
}

}  // namespace kelvane::reference
