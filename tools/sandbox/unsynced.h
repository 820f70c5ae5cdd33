// What is not durable: changes of names and of what files hold (durability.h), and of the database's files
// (database_loss.h). It outlives the process that made it: the process that comes after a killed one takes it over,
// as the power may go only then. Blocks for as long as the disk does.
#ifndef KELVANE_TOOLS_SANDBOX_UNSYNCED_H
#define KELVANE_TOOLS_SANDBOX_UNSYNCED_H

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace sandbox {

// ---- files and their names ---------------------------------------------------------------------------------------

// A file apart from its names.
struct KnownFile {
  bool link = false;     // a symbolic one
  std::string target;    // of that
  std::string durable;   // what it holds after a loss of power
  std::string last;      // what it held when its last name went
  bool emptied = false;  // new, or cut to nothing, since the last sync
};

using FileId = int64_t;  // into the list of files
inline constexpr FileId kNoFile = -1;
using FileNames = std::map<std::string, FileId>;  // by place

// One change of names, of which all sides happen or none.
struct NameStep {
  FileNames before;
  FileNames after;
};

struct UnsyncedFiles {
  std::vector<KnownFile> all;
  FileNames durable;
  FileNames now;
  std::vector<NameStep> steps;  // those that are not durable
  size_t noted = 0;             // all steps ever
};

// ---- the database's files ------------------------------------------------------------------------------------------

// One write or truncation since the last sync, and what was there before.
struct DatabaseChange {
  int64_t at = 0;
  std::string before;  // shorter than after where the file ended
  std::string after;
  int64_t size_before = 0;
  bool truncation = false;
  size_t serial = 0;  // among all changes ever
};

struct UnsyncedDatabase {
  std::map<std::string, std::deque<DatabaseChange>> changes;  // by path
  std::map<std::string, std::string> removed;                 // what was in the files whose removal was not synced
  std::set<std::string> opened;                               // all paths ever
  size_t noted = 0;                                           // all changes ever
};

// ---- both ----------------------------------------------------------------------------------------------------------

struct Unsynced {
  UnsyncedFiles files;
  UnsyncedDatabase database;
};

// Of this process and of those that were killed before it.
Unsynced &unsynced();

// Into a file, and out of one that may be missing; it is removed. Throw std::runtime_error.
void keep_unsynced(const std::string &file);
void take_unsynced(const std::string &file);

}  // namespace sandbox

#endif
