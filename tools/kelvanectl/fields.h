// The records of platform/records.h as tables of named fields, so that every command shows and sets them the same way.
// Fails by Failure.
#ifndef KELVANE_TOOLS_KELVANECTL_FIELDS_H
#define KELVANE_TOOLS_KELVANECTL_FIELDS_H

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace kelvanectl {

using Json = nlohmann::ordered_json;

enum class Kind {
  kText,
  kUnsigned,
  kSigned,
  kAddress,   // IPv4, the lowest byte is the first octet; 0 is shown as "none"
  kPassword,  // shown as "set" or "not set" with its scheme, never settable
  kSecret,    // shown as "set" or "not set"
};

struct Field {
  const char *name;
  Kind kind;
  size_t offset;
  size_t size;
};

struct Table {
  uint32_t number;
  const char *title;
  bool keyed;       // else a single record
  uint32_t parent;  // 0 for a top-level table
  size_t size;      // of a record
  std::vector<Field> fields;
};

const std::vector<Table> &tables();
// A top-level table; Failure for an unknown or a child table.
const Table &top_table(uint32_t number);
const Table &child_table(uint32_t number);

// A field by its name; Failure for an unknown one.
const Field &field_of(const Table &table, const std::string &name);
// A text field as it is, a secret one too.
std::string text_at(const Field &field, const void *record);

Json value_of(const Field &field, const void *record);
// All fields in order.
Json record_as_json(const Table &table, const void *record);
// Puts a value given as text into a record; Failure for an unknown field, one that is not set this way, or a bad value.
void set_value(const Table &table, void *record, const std::string &field_name, const std::string &value);

std::string address_text(uint32_t address);
uint32_t address_from_text(const std::string &text);
// "2026-01-31T12:00:00Z".
std::string time_text(int64_t seconds);
// "set (yescrypt)" for instance.
std::string password_state(const std::string &stored);

}  // namespace kelvanectl

#endif
