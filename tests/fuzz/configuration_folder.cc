#include "tests/fuzz/configuration_folder.h"

#include <sqlite3.h>

#include <filesystem>

#include "platform/reference/defaults.h"
#include "platform/reference/reference.h"
#include "tests/fuzz/properties.h"

namespace fuzz {

using std::filesystem::directory_iterator;

ConfigurationFolder::ConfigurationFolder()
    : folder_(root_.file("data/etc")), database_(folder_ + "/kelvane-config.db") {
  std::filesystem::create_directories(folder_);
}

void ConfigurationFolder::begin() const {
  reference_set_root(root_.path().c_str());
  for (const auto &entry : directory_iterator(folder_)) {
    std::filesystem::remove(entry);
  }
}

std::optional<std::string> ConfigurationFolder::set_aside() const {
  for (const auto &entry : directory_iterator(folder_)) {
    if (entry.path().filename().string().find(".damaged-") != std::string::npos) {
      return support::read_file(entry.path());
    }
  }
  return std::nullopt;
}

std::string changed(std::string file, const std::string &changes) {
  for (size_t i = 0; i + 3 < changes.size(); i += 4) {
    const auto at = [&](size_t j) { return static_cast<size_t>(static_cast<unsigned char>(changes[i + j])); };
    file[(at(0) << 16 | at(1) << 8 | at(2)) % file.size()] = changes[i + 3];
  }
  return file;
}

namespace {

void copy(sqlite3 *from, sqlite3 *to) {
  sqlite3_backup *backup = sqlite3_backup_init(to, "main", from, "main");
  require(backup != nullptr && sqlite3_backup_step(backup, -1) == SQLITE_DONE, "a layout can be copied");
  sqlite3_backup_finish(backup);
}

}  // namespace

}  // namespace fuzz

extern "C" void __real__ZN7kelvane9reference13create_layoutEP7sqlite3(sqlite3 *database);
extern "C" void __wrap__ZN7kelvane9reference13create_layoutEP7sqlite3(sqlite3 *database);

void __wrap__ZN7kelvane9reference13create_layoutEP7sqlite3(sqlite3 *database) {
  static sqlite3 *made = nullptr;
  if (made != nullptr) {
    fuzz::copy(made, database);
    return;
  }
  __real__ZN7kelvane9reference13create_layoutEP7sqlite3(database);
  fuzz::require(sqlite3_open(":memory:", &made) == SQLITE_OK, "there is a database in memory");
  fuzz::copy(database, made);
}
