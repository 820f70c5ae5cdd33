#include "platform/reference/durable.h"

#include <utility>

#include "platform/platform.h"
#include "platform/reference/history.h"

namespace kelvane::reference {
namespace {

int64_t number_of(const Table &table) {
  return table.definition.number;
}

Record sized(const Table &table, Record record) {
  record.bytes.resize(table.definition.record_size);
  return record;
}

}  // namespace

std::optional<Record> durable_find(sqlite3 *database, const Place &place, std::string_view key) {
  if (key.empty()) {
    return std::nullopt;
  }
  Statement statement(
      database, "SELECT key_number, record FROM records WHERE table_number = ? AND parent_number = ? AND key = ?");
  statement.bind(number_of(*place.table)).bind(int64_t{place.parent_number}).bind(key);
  if (!statement.step()) {
    return std::nullopt;
  }
  return sized(
      *place.table,
      {.number = static_cast<uint32_t>(statement.integer(0)), .key = std::string(key), .bytes = statement.bytes(1)});
}

std::optional<Record> durable_load(sqlite3 *database, const Place &place, uint32_t number) {
  Statement statement(
      database, "SELECT key, record FROM records WHERE table_number = ? AND key_number = ? AND parent_number = ?");
  statement.bind(number_of(*place.table)).bind(int64_t{number}).bind(int64_t{place.parent_number});
  if (!statement.step()) {
    return std::nullopt;
  }
  return sized(*place.table, {.number = number, .key = statement.text(0), .bytes = statement.bytes(1)});
}

bool durable_exists(sqlite3 *database, uint32_t table, uint32_t number) {
  Statement statement(database, "SELECT 1 FROM records WHERE table_number = ? AND key_number = ?");
  return statement.bind(int64_t{table}).bind(int64_t{number}).step();
}

std::vector<uint32_t> durable_numbers(sqlite3 *database, const Place &place) {
  std::vector<uint32_t> numbers;
  Statement statement(database, "SELECT key_number FROM records WHERE table_number = ? AND parent_number = ?");
  statement.bind(number_of(*place.table)).bind(int64_t{place.parent_number});
  while (statement.step()) {
    numbers.push_back(static_cast<uint32_t>(statement.integer(0)));
  }
  return numbers;
}

void durable_insert(sqlite3 *database, const Place &place, const Record &record) {
  Statement(database, "INSERT INTO records VALUES (?, ?, ?, ?, ?)")
      .bind(number_of(*place.table))
      .bind(int64_t{record.number})
      .bind(int64_t{place.parent_number})
      .bind(record.key)
      .bind(record.bytes)
      .step();
}

void durable_replace(sqlite3 *database, const Place &place, const Record &record) {
  if (place.table->definition.number == NCFG_TABLE_ACCOUNTS) {
    const std::optional<Record> before = durable_load(database, place, record.number);
    if (before && before->key != record.key) {
      history_rename(database, before->key, record.key);
    }
  }
  Statement(database, "UPDATE records SET key = ?, record = ? WHERE table_number = ? AND key_number = ?")
      .bind(record.key)
      .bind(record.bytes)
      .bind(number_of(*place.table))
      .bind(int64_t{record.number})
      .step();
}

void durable_delete(sqlite3 *database, const Table &table, const Record &record) {
  if (table.definition.number == NCFG_TABLE_ACCOUNTS) {
    Statement(database, "DELETE FROM records WHERE parent_number = ?").bind(int64_t{record.number}).step();
    Statement(database, "DELETE FROM ssh_keys WHERE account_number = ?").bind(int64_t{record.number}).step();
    history_forget(database, record.key);
  }
  Statement(database, "DELETE FROM records WHERE table_number = ? AND key_number = ?")
      .bind(number_of(table))
      .bind(int64_t{record.number})
      .step();
}

}  // namespace kelvane::reference
