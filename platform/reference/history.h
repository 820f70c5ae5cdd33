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
};

// The passwords of the account of this key number, newest first.
std::vector<std::string> history_of(sqlite3 *database, uint32_t account);

// Does nothing when there is no account of this name.
void history_add(sqlite3 *database, const HistoryEntry &entry);

void history_rename(sqlite3 *database, const std::string &account, const std::string &new_name);
void history_forget(sqlite3 *database, const std::string &account);

}  // namespace kelvane::reference

#endif
