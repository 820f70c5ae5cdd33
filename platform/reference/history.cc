#include "platform/reference/history.h"

#include <cstddef>
#include <cstring>

#include "platform/platform.h"
#include "platform/reference/sqlite.h"

namespace kelvane::reference {

std::string stored_password(const void *account) {
  const char *field = static_cast<const char *>(account) + offsetof(ncfg_account, password);
  return {field, strnlen(field, NCFG_PASSWORD_SIZE)};
}

std::vector<std::string> history_of(sqlite3 *handle, uint32_t account) {
  std::vector<std::string> passwords;
  Statement statement(handle,
                      "SELECT password FROM password_history WHERE account = "
                      "(SELECT key FROM records WHERE table_number = ? AND key_number = ?) ORDER BY number DESC");
  statement.bind(int64_t{NCFG_TABLE_ACCOUNTS}).bind(int64_t{account});
  while (statement.step()) {
    passwords.push_back(statement.text(0));
  }
  return passwords;
}

void history_add(sqlite3 *handle, const HistoryEntry &entry) {
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

void history_rename(sqlite3 *handle, const std::string &account, const std::string &new_name) {
  Statement(handle, "UPDATE password_history SET account = ? WHERE account = ?").bind(new_name).bind(account).step();
}

void history_forget(sqlite3 *handle, const std::string &account) {
  Statement(handle, "DELETE FROM password_history WHERE account = ?").bind(account).step();
}

}  // namespace kelvane::reference
