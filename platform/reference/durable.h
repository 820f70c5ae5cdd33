// The records in the database. Each call is given the connection to use, and may be part of a transaction of its
// caller's. Throws DatabaseError.
#ifndef KELVANE_PLATFORM_REFERENCE_DURABLE_H
#define KELVANE_PLATFORM_REFERENCE_DURABLE_H

#include <sqlite3.h>

#include <cstdint>
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
  uint32_t parent_number;   // 0 for a top-level table
  uint64_t generation = 0;  // of the database that is meant (database.h); the calls below look at the connection alone
};

struct Record {
  uint32_t number;
  std::string key;
  Bytes bytes;  // the table's record size
};

std::optional<Record> durable_find(sqlite3 *database, const Place &place, std::string_view key);
std::optional<Record> durable_load(sqlite3 *database, const Place &place, uint32_t number);
bool durable_exists(sqlite3 *database, uint32_t table, uint32_t number);

// Key numbers in any order.
std::vector<uint32_t> durable_numbers(sqlite3 *database, const Place &place);

// The number and the key must be free.
void durable_insert(sqlite3 *database, const Place &place, const Record &record);

// Replaces the record of this number; an account with another key takes its history along. The key must be its own or
// free.
void durable_replace(sqlite3 *database, const Place &place, const Record &record);

// Deletes a top-level record with everything that belongs to it.
void durable_delete(sqlite3 *database, const Table &table, const Record &record);

}  // namespace kelvane::reference

#endif
