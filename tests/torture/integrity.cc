#include "tests/torture/integrity.h"

#include <sqlite3.h>

#include <filesystem>

namespace torture {
namespace {

namespace files = std::filesystem;

constexpr char kName[] = "kelvane-config.db";

int add_row(void *text, int count, char **values, char **) {
  for (int i = 0; i < count; ++i) {
    *static_cast<std::string *>(text) += values[i] != nullptr ? std::string(values[i]) + "\n" : "";
  }
  return 0;
}

std::string answer(sqlite3 *database, const char *sql) {
  std::string text;
  const int result = sqlite3_exec(database, sql, add_row, &text, nullptr);
  return result == SQLITE_OK ? text : std::string(sqlite3_errmsg(database)) + "\n";
}

}  // namespace

std::string damage_of_database(const std::string &root, const std::string &folder) {
  files::remove_all(folder);
  files::create_directories(folder);
  for (const char *ending : {"", "-wal", "-journal"}) {
    const std::string name = std::string(kName) + ending;
    if (files::exists(root + "/data/etc/" + name)) {
      files::copy_file(root + "/data/etc/" + name, folder + "/" + name);
    }
  }
  sqlite3 *database = nullptr;
  std::string found = "it cannot be opened\n";
  if (sqlite3_open_v2((folder + "/" + kName).c_str(), &database, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
    found = answer(database, "PRAGMA integrity_check");
    const std::string settings = answer(database, "SELECT count(*) FROM records WHERE table_number = 100");
    found = found != "ok\n" ? found : settings != "1\n" ? "system settings: " + settings : "";
  }
  sqlite3_close(database);
  return found;
}

}  // namespace torture
