#include "tests/fuzz/durable_records.h"

#include "platform/platform.h"
#include "platform/reference/reference.h"
#include "platform/reference/store.h"
#include "tests/fuzz/properties.h"
#include "tests/fuzz/record_calls.h"

namespace fuzz {

namespace {

void step_to_end(sqlite3_stmt *statement) {
  require(sqlite3_step(statement) == SQLITE_DONE, "the tables can be restored");
  sqlite3_reset(statement);
}

}  // namespace

DurableRecords::DurableRecords() {
  const std::string factory = factory_database();
  reference_set_root(folder_.path().c_str());
  folder_.write("data/etc/kelvane-config.db", factory);
  require(conf_init() == 0, "there is a connection");
  require(sqlite3_open(reference_database_path().c_str(), &other_) == SQLITE_OK &&
              sqlite3_exec(other_, "PRAGMA synchronous = OFF; ATTACH ':memory:' AS factory", nullptr, nullptr,
                           nullptr) == SQLITE_OK,
          "there is another connection");
  restoring_.push_back(prepared("BEGIN IMMEDIATE"));
  for (const std::string table : {"records", "numbers", "ssh_keys", "password_history", "sqlite_sequence"}) {
    step_to_end(prepared("CREATE TABLE factory.first_" + table + " AS SELECT * FROM main." + table));
    restoring_.push_back(prepared("DELETE FROM main." + table));
    restoring_.push_back(prepared("INSERT INTO main." + table + " SELECT * FROM factory.first_" + table));
  }
  restoring_.push_back(prepared("COMMIT"));
  for (const uint32_t table : kTables) {
    reading_.emplace_back(
        prepared("SELECT record, key_number FROM records WHERE parent_number = 0 AND table_number = " +
                 std::to_string(table) + " ORDER BY key_number"),
        cmdb.tables[table]->record_size);
  }
}

DurableRecords::~DurableRecords() {
  conf_end();
}

void DurableRecords::restore() {
  kelvane::reference::store_drop();
  for (sqlite3_stmt *statement : restoring_) {
    step_to_end(statement);
  }
}

std::string DurableRecords::shown() {
  std::string shown;
  for (const auto &[statement, size] : reading_) {
    while (sqlite3_step(statement) == SQLITE_ROW) {
      std::string record(static_cast<const char *>(sqlite3_column_blob(statement, 0)),
                         static_cast<size_t>(sqlite3_column_bytes(statement, 0)));
      record.resize(size);
      shown += record + std::to_string(static_cast<uint32_t>(sqlite3_column_int64(statement, 1)));
    }
    sqlite3_reset(statement);
  }
  return shown;
}

sqlite3_stmt *DurableRecords::prepared(const std::string &sql) {
  sqlite3_stmt *statement = nullptr;
  require(sqlite3_prepare_v3(other_, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) == SQLITE_OK,
          "a statement is understood");
  return statement;
}

}  // namespace fuzz
