#include "tests/torture/integrity.h"

#include <filesystem>
#include <stdexcept>

#include "tests/torture/rows.h"

namespace torture {
namespace {

namespace files = std::filesystem;

// Each finds nothing in a database that is whole.
struct Rule {
  const char *fault;
  const char *sql;
};

constexpr Rule kRules[] = {
    {"damaged pages", "SELECT * FROM pragma_integrity_check WHERE integrity_check <> 'ok'"},
    {"not one record of system settings",
     "SELECT n FROM (SELECT count(*) AS n FROM records WHERE table_number = 100) WHERE n <> 1"},
    {"a number that was never given out",
     "SELECT table_number, key_number FROM records r WHERE key_number > "
     "coalesce((SELECT last FROM numbers n WHERE n.table_number = r.table_number), 0)"},
    {"records of an account that is none",
     "SELECT table_number, key_number FROM records r WHERE parent_number <> 0 AND NOT EXISTS "
     "(SELECT 1 FROM records o WHERE o.table_number = 340 AND o.key_number = r.parent_number)"},
    {"keys of an account that is none",
     "SELECT account_number, slot FROM ssh_keys k WHERE NOT EXISTS "
     "(SELECT 1 FROM records o WHERE o.table_number = 340 AND o.key_number = k.account_number)"},
    {"passwords of an account that is none",
     "SELECT DISTINCT account FROM password_history h WHERE NOT EXISTS "
     "(SELECT 1 FROM records o WHERE o.table_number = 340 AND o.key = h.account)"},
};

std::string faults_of(const std::string &file) {
  std::string found;
  for (const Rule &rule : kRules) {
    for (const Row &row : rows_of_file(file, rule.sql)) {
      found += std::string(rule.fault) + ":";
      for (const std::string &value : row) {
        found += " " + value;
      }
      found += "\n";
    }
  }
  return found;
}

}  // namespace

std::string damage_of_database(const std::string &root, const std::string &folder) {
  files::remove_all(folder);
  files::create_directories(folder);
  for (const char *ending : {"", "-wal", "-journal"}) {
    const std::string name = std::string(kDatabaseName) + ending;
    if (files::exists(root + "/data/etc/" + name)) {
      files::copy_file(root + "/data/etc/" + name, folder + "/" + name);
    }
  }
  try {
    return faults_of(folder + "/" + kDatabaseName);
  } catch (const std::runtime_error &error) {
    return std::string("it cannot be read: ") + error.what() + "\n";
  }
}

}  // namespace torture
