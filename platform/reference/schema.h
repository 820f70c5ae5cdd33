// The tables of the configuration: their numbers, record sizes, keys and default records. Constant data; the public
// half of it is the contract's object cmdb.
#ifndef KELVANE_PLATFORM_REFERENCE_SCHEMA_H
#define KELVANE_PLATFORM_REFERENCE_SCHEMA_H

#include <cstdint>
#include <optional>
#include <string>

#include "platform/platform.h"

namespace kelvane::reference {

enum class TableKind {
  kKeyed,   // many records, each with a name of its own in its first NCFG_NAME_SIZE bytes
  kSingle,  // exactly one record, no key
  kList,    // many records without a key, in order
};

struct Table {
  cmdb_table definition;
  TableKind kind;
  uint32_t parent;  // the table whose records own this table's, of a lower number; 0: a top-level table
};

// Null for an unknown number.
const Table *find_table(uint32_t number);

// The key that stands in a record: the empty text for a table without keys, nothing when the record has an empty key or
// one that is not terminated.
std::optional<std::string> key_in_record(const Table &table, const void *record);

}  // namespace kelvane::reference

#endif
