#include "tests/scenario/run/database_lock.h"

#include <stdexcept>

namespace scenario {

DatabaseLock::DatabaseLock(const std::string &root) {
  if (root.empty()) {
    return;
  }
  const std::string file = root + "/data/etc/kelvane-config.db";
  if (sqlite3_open_v2(file.c_str(), &database_, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK ||
      sqlite3_exec(database_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) != SQLITE_OK) {
    sqlite3_close(database_);
    throw std::runtime_error("cannot lock " + file);
  }
}

DatabaseLock::~DatabaseLock() {
  sqlite3_close(database_);
}

}  // namespace scenario
