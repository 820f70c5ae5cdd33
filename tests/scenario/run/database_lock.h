// Another process that holds the appliance's configuration database: it has begun a write and never ends it, so that
// nobody else can write until the lock is given back. Throws std::runtime_error. Never waits.
#ifndef KELVANE_TESTS_SCENARIO_RUN_DATABASE_LOCK_H
#define KELVANE_TESTS_SCENARIO_RUN_DATABASE_LOCK_H

#include <sqlite3.h>

#include <string>

namespace scenario {

class DatabaseLock {
 public:
  // An empty root: no lock.
  explicit DatabaseLock(const std::string &root);
  ~DatabaseLock();
  DatabaseLock(const DatabaseLock &) = delete;
  DatabaseLock &operator=(const DatabaseLock &) = delete;

 private:
  sqlite3 *database_ = nullptr;
};

}  // namespace scenario

#endif
