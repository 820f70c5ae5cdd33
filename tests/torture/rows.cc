#include "tests/torture/rows.h"

#include <sqlite3.h>

#include <memory>
#include <stdexcept>

namespace torture {
namespace {

int add_row(void *rows, int count, char **values, char **) {
  Row row;
  for (int i = 0; i < count; ++i) {
    row.emplace_back(values[i] != nullptr ? values[i] : "");
  }
  static_cast<std::vector<Row> *>(rows)->push_back(row);
  return 0;
}

}  // namespace

std::vector<Row> rows_of_file(const std::string &file, const char *sql) {
  sqlite3 *opened = nullptr;
  const int result = sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> database(opened, sqlite3_close);
  std::vector<Row> rows;
  if (result != SQLITE_OK || sqlite3_exec(opened, sql, add_row, &rows, nullptr) != SQLITE_OK) {
    throw std::runtime_error(opened != nullptr ? sqlite3_errmsg(opened) : "no memory");
  }
  return rows;
}

std::vector<Row> rows_of(const std::string &root, const char *sql) {
  return rows_of_file(root + "/data/etc/" + kDatabaseName, sql);
}

}  // namespace torture
