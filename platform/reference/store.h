// The records as this process sees them: what is durable in the database, with this process's pending changes laid over
// it in memory. Nothing pending touches the file before it is written, so that it blocks no other process. Looking up
// and writing may wait for another process's lock for a few seconds; both throw what database.h names when that is in
// vain or the disk fails, and leave everything as it was. (A write also throws when it was committed and no database is
// found in its place then: that is reported, and nothing is pending any more.) Without a connection look-ups find
// nothing and changes are refused.
//
// When another process has put a new database in the place of the one that was used, what is pending is dropped and
// reported, and the next write that would have succeeded fails, once. A place of the old database holds nothing, and
// takes nothing: a change there is refused, reported, and counts as pending that was dropped. At a place from before
// store_drop a change is refused, and that is all. Either takes a password along that was remembered for the account.
#ifndef KELVANE_PLATFORM_REFERENCE_STORE_H
#define KELVANE_PLATFORM_REFERENCE_STORE_H

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/reference/durable.h"

namespace kelvane::reference {

// A top-level table of the database that is in place now; nothing without a connection.
std::optional<Place> store_table(const Table &table);

std::optional<Record> store_find(const Place &place, std::string_view key);
std::optional<Record> store_load(const Place &place, uint32_t number);

// Key numbers in ascending order.
std::vector<uint32_t> store_numbers(const Place &place);

// Pending. False: no such record, a key that cannot be, or one that another record has.
bool store_change(const Place &place, uint32_t number, const void *record);
bool store_append(const Place &place, const void *record);

// An account's passwords, in the stored form, newest first: the newest kHistoryLength. Adding one is pending; it does
// nothing without a connection, or when it is the newest already. An account that is not there when it is written has
// no history: its password is not refused when it is added in the end.
std::vector<std::string> store_passwords(const std::string &account);
void store_add_password(const std::string &account, const std::string &password);

// Makes everything pending durable. Takes no lock when there is nothing, and so cannot fail for another process's sake.
// False without a connection, or when the database was replaced and what it was given to write is not in the new one.
bool store_write_pending();

// The same, and with it what step does in the same transaction through the connection that it is given; when step
// returns false nothing is changed, and this returns false.
bool store_write(const std::function<bool(sqlite3 *)> &step);

// Drops what is pending.
void store_drop();

}  // namespace kelvane::reference

#endif
