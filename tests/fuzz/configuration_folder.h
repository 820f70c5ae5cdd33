// The folder of the reference platform's database, for the fuzz target of that file. For a program that wraps
// create_layout: a new database's tables are made once, and copied from then on.
#ifndef KELVANE_TESTS_FUZZ_CONFIGURATION_FOLDER_H
#define KELVANE_TESTS_FUZZ_CONFIGURATION_FOLDER_H

#include <optional>
#include <string>

#include "tests/support/files.h"

namespace fuzz {

class ConfigurationFolder {
 public:
  ConfigurationFolder();

  // Leaves the folder empty, as the platform's own.
  void begin() const;
  // Puts a database file there.
  void write(const std::string &bytes) const { support::write_file(database_, bytes); }
  // The database file that is there now.
  std::string read() const { return support::read_file(database_); }
  // What was kept of that file as a damaged one, if it was.
  std::optional<std::string> set_aside() const;

 private:
  support::TempDir root_;
  std::string folder_;
  std::string database_;
};

// The bytes of a file with changes: three bytes of place, one of value, each.
std::string changed(std::string file, const std::string &changes);

}  // namespace fuzz

#endif
