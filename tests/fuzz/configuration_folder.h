// The folder of the reference platform's database, for the fuzz target of that file. For a program that wraps
// create_layout: a new database's tables are made once, and copied from then on.
#ifndef KELVANE_TESTS_FUZZ_CONFIGURATION_FOLDER_H
#define KELVANE_TESTS_FUZZ_CONFIGURATION_FOLDER_H

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
  // Whether that file was kept as a damaged one.
  bool set_aside() const;

 private:
  support::TempDir root_;
  std::string folder_;
  std::string database_;
};

}  // namespace fuzz

#endif
