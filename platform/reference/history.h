// The stored forms of the passwords that each account has had, the newest kHistoryLength of them. New entries are
// pending with the other changes (store.h), which writes and drops them. Throws DatabaseError.
#ifndef KELVANE_PLATFORM_REFERENCE_HISTORY_H
#define KELVANE_PLATFORM_REFERENCE_HISTORY_H

#include <sqlite3.h>

#include <string>
#include <vector>

namespace kelvane::reference {

inline constexpr int kHistoryLength = 5;

// Pending. Does nothing without a connection, or when it is the account's newest entry already.
void history_add(const std::string &account, const std::string &password);

// Newest first, pending ones included.
std::vector<std::string> history_of(const std::string &account);

// For the transaction that writes what is pending, behind the records. An account that could not be added has no
// history: its password is not refused when it is added in the end.
void history_write(sqlite3 *database);
void history_rename(sqlite3 *database, const std::string &account, const std::string &new_name);
void history_forget(sqlite3 *database, const std::string &account);

bool history_has_pending();

// Drops what is pending.
void history_drop();

}  // namespace kelvane::reference

#endif
