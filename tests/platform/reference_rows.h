// Another program's hands on the reference platform's database file.
#ifndef KELVANE_TESTS_PLATFORM_REFERENCE_ROWS_H
#define KELVANE_TESTS_PLATFORM_REFERENCE_ROWS_H

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>

#include "platform/reference/reference.h"

namespace conformance {

class Sqlite {
 public:
  Sqlite() { EXPECT_EQ(SQLITE_OK, sqlite3_open(reference_database_path().c_str(), &handle_)); }
  ~Sqlite() { sqlite3_close(handle_); }
  Sqlite(const Sqlite &) = delete;
  Sqlite &operator=(const Sqlite &) = delete;
  void run(const char *sql) {
    EXPECT_EQ(SQLITE_OK, sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr)) << sqlite3_errmsg(handle_);
  }

 private:
  sqlite3 *handle_ = nullptr;
};

// How many rows the table has, in the file as it is now.
inline int64_t rows(const char *table) {
  sqlite3 *handle = nullptr;
  sqlite3_stmt *statement = nullptr;
  EXPECT_EQ(SQLITE_OK, sqlite3_open(reference_database_path().c_str(), &handle));
  const std::string sql = std::string("SELECT count(*) FROM ") + table;
  EXPECT_EQ(SQLITE_OK, sqlite3_prepare_v2(handle, sql.c_str(), -1, &statement, nullptr));
  EXPECT_EQ(SQLITE_ROW, sqlite3_step(statement));
  const int64_t count = sqlite3_column_int64(statement, 0);
  sqlite3_finalize(statement);
  sqlite3_close(handle);
  return count;
}

}  // namespace conformance

#endif
