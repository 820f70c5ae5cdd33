#include "platform/reference/sqlite.h"

namespace kelvane::reference {

DatabaseHandle open_database_file(const std::string &path) {
  sqlite3 *opened = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
  DatabaseHandle database(opened);
  if (result != SQLITE_OK) {
    throw DatabaseError(result, path + ": " + sqlite3_errstr(result));
  }
  sqlite3_busy_timeout(opened, kBusyMilliseconds);
  return database;
}

Statement::Statement(sqlite3 *database, const char *sql) : database_(database) {
  check(sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr));
}

Statement::~Statement() {
  sqlite3_finalize(statement_);
}

Statement &Statement::bind(int64_t value) {
  check(sqlite3_bind_int64(statement_, ++bound_, value));
  return *this;
}

Statement &Statement::bind(std::string_view text) {
  const char *start = text.data() == nullptr ? "" : text.data();
  check(sqlite3_bind_text64(statement_, ++bound_, start, text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
  return *this;
}

Statement &Statement::bind(const Bytes &bytes) {
  check(sqlite3_bind_blob64(statement_, ++bound_, bytes.data(), bytes.size(), SQLITE_TRANSIENT));
  return *this;
}

bool Statement::step() {
  const int result = sqlite3_step(statement_);
  if (result != SQLITE_ROW && result != SQLITE_DONE) {
    check(result);
  }
  return result == SQLITE_ROW;
}

std::string Statement::text(int column) const {
  const unsigned char *start = sqlite3_column_text(statement_, column);
  const int length = sqlite3_column_bytes(statement_, column);
  return start == nullptr ? std::string() : std::string(start, start + length);
}

Bytes Statement::bytes(int column) const {
  const auto *start = static_cast<const uint8_t *>(sqlite3_column_blob(statement_, column));
  const int length = sqlite3_column_bytes(statement_, column);
  return start == nullptr ? Bytes() : Bytes(start, start + length);
}

void Statement::check(int result) const {
  if (result != SQLITE_OK) {
    throw DatabaseError(result, std::string("configuration database: ") + sqlite3_errmsg(database_));
  }
}

void execute(sqlite3 *database, const char *sql) {
  const int result = sqlite3_exec(database, sql, nullptr, nullptr, nullptr);
  if (result != SQLITE_OK) {
    throw DatabaseError(result, std::string("configuration database: ") + sqlite3_errmsg(database));
  }
}

Transaction::Transaction(sqlite3 *database) : database_(database) {
  execute(database, "BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (open_) {
    sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

void Transaction::commit() {
  execute(database_, "COMMIT");
  open_ = false;
}

}  // namespace kelvane::reference
