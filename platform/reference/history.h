// The stored forms of the passwords that each account has had, the newest kHistoryLength of them, in the database. Each
// call is given the connection to use, and may be part of a transaction of its caller's. Throws DatabaseError.
#ifndef KELVANE_PLATFORM_REFERENCE_HISTORY_H
#define KELVANE_PLATFORM_REFERENCE_HISTORY_H

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kelvane::reference {

inline constexpr int kHistoryLength = 5;

struct HistoryEntry {
  std::string account;
  std::string password;
  int64_t time;
  uint32_t number = 0;  // key number of the account; 0: there was none of the name
};

// The password, in the stored form, that stands in an account's record.
std::string stored_password(const void *account);

// The passwords of the account of this key number, newest first; none for 0.
std::vector<std::string> history_of(sqlite3 *database, uint32_t account);

// Does nothing when there is no account of this name.
void history_add(sqlite3 *database, const HistoryEntry &entry);

void history_rename(sqlite3 *database, const std::string &account, const std::string &new_name);
void history_forget(sqlite3 *database, const std::string &account);

}  // namespace kelvane::reference

#endif
