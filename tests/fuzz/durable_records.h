// The reference platform's database for the fuzz target of its records: the same file and the same connection for all
// inputs, and a second connection, as another process has it, that sees what is durable.
#ifndef KELVANE_TESTS_FUZZ_DURABLE_RECORDS_H
#define KELVANE_TESTS_FUZZ_DURABLE_RECORDS_H

#include <sqlite3.h>

#include <string>
#include <vector>

#include "tests/support/files.h"

namespace fuzz {

class DurableRecords {
 public:
  // Makes the file and connects the platform to it.
  DurableRecords();
  ~DurableRecords();
  DurableRecords(const DurableRecords &) = delete;
  DurableRecords &operator=(const DurableRecords &) = delete;

  // The tables are as the file began with, nothing is pending.
  void restore();
  // What all_records() gives to another process.
  std::string shown();

 private:
  sqlite3_stmt *prepared(const std::string &sql);

  support::TempDir folder_;
  sqlite3 *other_ = nullptr;
  std::vector<sqlite3_stmt *> restoring_;
  std::vector<std::pair<sqlite3_stmt *, size_t>> reading_;  // with the size of the table's records
};

}  // namespace fuzz

#endif
