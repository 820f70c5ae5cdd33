// Reading the configuration database with SQL: what the platform's look-ups do not tell of it. Blocks for as long as
// the disk does.
#ifndef KELVANE_TESTS_TORTURE_ROWS_H
#define KELVANE_TESTS_TORTURE_ROWS_H

#include <string>
#include <vector>

namespace torture {

using Row = std::vector<std::string>;  // "" for NULL

inline constexpr char kDatabaseName[] = "kelvane-config.db";

// Throws std::runtime_error with SQLite's words.
std::vector<Row> rows_of_file(const std::string &file, const char *sql);
std::vector<Row> rows_of(const std::string &root, const char *sql);

}  // namespace torture

#endif
