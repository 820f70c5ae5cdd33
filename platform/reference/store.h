// The records as this process sees them: what is durable in the database, with this process's pending changes laid over
// it in memory. Nothing pending touches the file before store_write, so that it blocks no other process. Looking up and
// writing may wait for another process's lock for a few seconds; both throw DatabaseError when that is in vain or the
// disk fails, and leave everything as it was. Without a connection look-ups find nothing and changes are refused.
#ifndef KELVANE_PLATFORM_REFERENCE_STORE_H
#define KELVANE_PLATFORM_REFERENCE_STORE_H

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/reference/schema.h"
#include "platform/reference/sqlite.h"

namespace kelvane::reference {

// The records of one table; of a child table, those of one parent record.
struct Place {
  const Table *table;
  uint32_t parent_number;  // 0 for a top-level table
};

struct Record {
  uint32_t number;
  std::string key;
  Bytes bytes;  // the table's record size
};

std::optional<Record> store_find(const Place &place, std::string_view key);
std::optional<Record> store_load(const Place &place, uint32_t number);

// Key numbers in ascending order.
std::vector<uint32_t> store_numbers(const Place &place);

// Pending. False: no such record, a key that cannot be, or one that another record has.
bool store_change(const Place &place, uint32_t number, const void *record);
bool store_append(const Place &place, const void *record);

// Whether there is anything for store_write to write.
bool store_has_pending();

// Makes everything pending durable, and with it what step does in the same transaction; when step returns false nothing
// is changed. Returns false for that, and without a connection.
bool store_write(const std::function<bool(sqlite3 *)> &step);

// The key number of a top-level record among the durable ones; 0 when there is none.
uint32_t durable_number(sqlite3 *database, const Table &table, std::string_view key);

// For step: replaces a durable top-level record; with another key it takes its history along. False: the new key
// belongs to another record.
bool durable_replace(sqlite3 *database, const Table &table, uint32_t number, const Record &record);

// For step: deletes a top-level record with everything that belongs to it.
void durable_delete(sqlite3 *database, const Table &table, const Record &record);

// Drops what is pending.
void store_drop();

}  // namespace kelvane::reference

#endif
