// The records as this process sees them: what is durable in the database, with this process's pending changes laid over
// it in memory. Nothing pending touches the file before store_write, so that it blocks no other process. When another
// process has put a new database in the place of the one that was used, what is pending goes there: new records with
// new numbers, changes of others only where the same record is there. Looking up and writing may wait for another
// process's lock for a few seconds; both throw DatabaseError when that is in vain or the disk fails, and leave
// everything as it was. Without a connection look-ups find nothing and changes are refused.
#ifndef KELVANE_PLATFORM_REFERENCE_STORE_H
#define KELVANE_PLATFORM_REFERENCE_STORE_H

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/reference/durable.h"

namespace kelvane::reference {

std::optional<Record> store_find(const Place &place, std::string_view key);
std::optional<Record> store_load(const Place &place, uint32_t number);

// Key numbers in ascending order.
std::vector<uint32_t> store_numbers(const Place &place);

// Pending. False: no such record, a key that cannot be, or one that another record has.
bool store_change(const Place &place, uint32_t number, const void *record);
bool store_append(const Place &place, const void *record);

// Whether there is anything for store_write to write.
bool store_has_pending();

// Makes everything pending durable, and with it what step does in the same transaction through the connection that it
// is given; when step returns false nothing is changed. Returns false for that, and without a connection.
bool store_write(const std::function<bool(sqlite3 *)> &step);

// Drops what is pending.
void store_drop();

}  // namespace kelvane::reference

#endif
