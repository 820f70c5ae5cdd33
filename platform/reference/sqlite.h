// SQLite's handle, statements and transactions as objects that clean up after themselves. Every failure is thrown as a
// DatabaseError with SQLite's result code. A call may wait for another process's lock, kBusyMilliseconds at the most.
#ifndef KELVANE_PLATFORM_REFERENCE_SQLITE_H
#define KELVANE_PLATFORM_REFERENCE_SQLITE_H

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::reference {

inline constexpr int kBusyMilliseconds = 3000;

using Bytes = std::vector<uint8_t>;

class DatabaseError : public std::runtime_error {
 public:
  DatabaseError(int code, const std::string &text) : std::runtime_error(text), code_(code) {}
  // SQLite's primary result code.
  int code() const { return code_ & 0xff; }

 private:
  int code_;
};

struct CloseDatabase {
  void operator()(sqlite3 *database) const { sqlite3_close(database); }
};
using DatabaseHandle = std::unique_ptr<sqlite3, CloseDatabase>;

// Opens an existing file for reading and writing.
DatabaseHandle open_database_file(const std::string &path);

// One prepared statement. Parameters are bound in order.
class Statement {
 public:
  Statement(sqlite3 *database, const char *sql);
  ~Statement();
  Statement(const Statement &) = delete;
  Statement &operator=(const Statement &) = delete;

  Statement &bind(int64_t value);
  Statement &bind(std::string_view text);
  Statement &bind(const Bytes &bytes);

  // True: a row is there. False: done.
  bool step();

  int64_t integer(int column) const { return sqlite3_column_int64(statement_, column); }
  std::string text(int column) const;
  Bytes bytes(int column) const;

 private:
  void check(int result) const;

  sqlite3 *database_;
  sqlite3_stmt *statement_ = nullptr;
  int bound_ = 0;
};

// Runs statements that give no rows.
void execute(sqlite3 *database, const char *sql);

// A write transaction; rolled back unless commit was called and succeeded.
class Transaction {
 public:
  explicit Transaction(sqlite3 *database);
  ~Transaction();
  Transaction(const Transaction &) = delete;
  Transaction &operator=(const Transaction &) = delete;
  void commit();

 private:
  sqlite3 *database_;
  bool open_ = true;
};

}  // namespace kelvane::reference

#endif
