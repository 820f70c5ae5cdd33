// The configuration records as JSON, field by field, by one table of fields; and their short form for the trace. Used
// by the sandbox's script and by the scenario runner. Touches no database; never blocks.
#ifndef KELVANE_TOOLS_SANDBOX_RECORDS_H
#define KELVANE_TOOLS_SANDBOX_RECORDS_H

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace sandbox {

enum class FieldKind { kText, kNumber, kSigned, kAddress };

struct RecordField {
  const char *name;
  FieldKind kind;
  size_t offset;
  size_t size;
};

struct RecordTable {
  uint32_t number;
  size_t size;
  bool single;      // one record without a key
  uint32_t parent;  // the table whose records own this one's; 0 for none
  std::vector<RecordField> fields;
};

// Null for a table that is not known.
const RecordTable *record_table(uint32_t number);

// Sets the named fields of a record; the others stay. Addresses are "a.b.c.d" or numbers. Throws std::runtime_error for
// an unknown field or a value that does not fit.
void record_set(const RecordTable &table, void *record, const nlohmann::json &fields);

// Every field of the record.
nlohmann::ordered_json record_fields(const RecordTable &table, const void *record);

// What stands in the record besides these: reserved space, and what is behind the end of a text. "OFFSET=VALUE", with
// blanks between, for every byte that is not zero.
std::string record_rest(const RecordTable &table, const void *record);

// What the trace shows of a record: its key and the fields that the agent writes, never a password.
std::string record_summary(uint32_t table, const void *record);

// "168.63.129.16" as the 32-bit value whose lowest byte is the first octet. Throws std::runtime_error.
uint32_t parse_address(const std::string &text);

}  // namespace sandbox

#endif
