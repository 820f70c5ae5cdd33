#include "platform/reference/database.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <iterator>
#include <string>
#include <utility>

#include "platform/platform.h"
#include "platform/reference/defaults.h"
#include "platform/reference/own_files.h"
#include "platform/reference/reference.h"
#include "platform/reference/sqlite.h"

namespace kelvane::reference {
namespace {

constexpr char kNewName[] = ".kelvane-config.db.new";
constexpr off_t kSector = 512;

struct Connection {
  DatabaseHandle handle;
  struct stat file = {};
};

Connection connection;
uint64_t generation = 0;

// Only one process at a time opens, creates or sets aside: held while it does.
Descriptor locked_folder() {
  Descriptor folder = open_own_folder(kDatabaseFolder);
  lock_folder(folder, "the configuration folder");
  return folder;
}

std::string path_of(const std::string &name) {
  return own_path(std::string(kDatabaseFolder) + "/" + name);
}

void remove_with_companions(const Descriptor &folder, const std::string &name) {
  for (const char *ending : {"", "-journal", "-wal", "-shm"}) {
    unlinkat(folder.get(), (name + ending).c_str(), 0);
  }
}

constexpr const char *kKept[] = {"", "-wal", "-journal"};  // the endings of the names of what is set aside

bool is_used(const Descriptor &folder, const std::string &aside) {
  return std::any_of(std::begin(kKept), std::end(kKept),
                     [&](const char *ending) { return exists_in(folder, aside + ending); });
}

std::string unused_aside_name(const Descriptor &folder) {
  char stamp[32] = "";
  const time_t now = time(nullptr);
  tm parts = {};
  (void)strftime(stamp, sizeof stamp, "%Y%m%dT%H%M%SZ", gmtime_r(&now, &parts));
  const std::string base = std::string(kDatabaseName) + ".damaged-" + stamp;
  std::string name = base;
  for (int number = 2; is_used(folder, name); ++number) {
    name = base + "-" + std::to_string(number);
  }
  return name;
}

// The database goes first: after an end in between, logs are there without one, which create_database sets aside, and
// never a database without the logs that belong to it.
void set_aside(const Descriptor &folder) {
  const std::string aside = unused_aside_name(folder);
  for (const char *ending : kKept) {
    const std::string from = std::string(kDatabaseName) + ending;
    const std::string to = aside + ending;
    if (renameat(folder.get(), from.c_str(), folder.get(), to.c_str()) == 0) {
      message("platform: %s is kept as %s\n", from.c_str(), path_of(to).c_str());
    } else if (errno != ENOENT) {
      throw_errno("cannot set " + from + " aside");
    }
  }
  unlinkat(folder.get(), (std::string(kDatabaseName) + "-shm").c_str(), 0);
  fsync(folder.get());
}

// Writes the new database to its end under another name, so that none is ever seen half made.
void write_new_file(const Descriptor &folder) {
  remove_with_companions(folder, kNewName);
  const Descriptor file(openat(folder.get(), kNewName, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file.present() || fchmod(file.get(), 0600) != 0) {
    throw_errno("cannot create the configuration database");
  }
  DatabaseHandle fresh = open_database_file(path_of(kNewName));
  execute(fresh.get(), "PRAGMA synchronous = FULL; PRAGMA temp_store = MEMORY");
  create_layout(fresh.get());
  execute(fresh.get(), "PRAGMA journal_mode = WAL");
}

void create_database(const Descriptor &folder) {
  try {
    write_new_file(folder);
  } catch (...) {
    remove_with_companions(folder, kNewName);
    throw;
  }
  const std::string name = kDatabaseName;
  if (exists_in(folder, name + "-wal") || exists_in(folder, name + "-journal")) {
    set_aside(folder);
  }
  if (renameat(folder.get(), kNewName, folder.get(), kDatabaseName) != 0) {
    throw_errno("cannot put the configuration database in place");
  }
  fsync(folder.get());
}

// A file that is no whole number of sectors has lost its end, which SQLite would read as zeros; but the log file of a
// process that was stopped while it wrote may still complete it.
void refuse_wrong_size(const struct stat &file, bool has_log) {
  if (S_ISREG(file.st_mode) && (file.st_size == 0 || (file.st_size % kSector != 0 && !has_log))) {
    throw DatabaseError(SQLITE_NOTADB, "the file is not whole");
  }
}

// Whether the last connection to a file plays the log file into it when it is closed, and removes that.
void set_tidying(sqlite3 *handle, bool on) {
  sqlite3_db_config(handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, on ? 0 : 1, nullptr);
}

// As long as the file may be damaged, closing leaves it and its log alone. The read in check_layout also makes SQLite
// open the files that it keeps open: no later call leaves a new descriptor, but one that connects again.
Connection open_checked(const Descriptor &folder) {
  const bool has_log = exists_in(folder, std::string(kDatabaseName) + "-wal");
  struct stat file = {};
  if (fstatat(folder.get(), kDatabaseName, &file, 0) != 0) {
    throw_errno("cannot look at the configuration database");
  }
  refuse_wrong_size(file, has_log);
  // Best effort: it may be another user's.
  [[maybe_unused]] const int result = fchmodat(folder.get(), kDatabaseName, 0600, 0);
  DatabaseHandle opened = open_database_file(path_of(kDatabaseName));
  set_tidying(opened.get(), !has_log);
  const bool writable = sqlite3_db_readonly(opened.get(), "main") == 0;  // as far as the file's rights go
  check_layout(opened.get());
  // SQLite only reads what names a format of the future, be it in the file or in its log.
  if (writable && sqlite3_db_readonly(opened.get(), "main") != 0) {
    throw DatabaseError(SQLITE_NOTADB, "the file is of no known format");
  }
  execute(opened.get(), "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA temp_store = MEMORY");
  set_tidying(opened.get(), true);
  return {.handle = std::move(opened), .file = file};
}

// SQLITE_ERROR is what SQLite says of some damaged headers; the statements are fixed, nothing else can be wrong with
// them.
bool is_damage(const DatabaseError &error) {
  return error.code() == SQLITE_NOTADB || error.code() == SQLITE_CORRUPT || error.code() == SQLITE_ERROR;
}

// None for a damaged database; any other failure is thrown. What a disc could not read once looks like damage, too, so
// that it takes two looks to find some.
Connection open_undamaged(const Descriptor &folder) {
  constexpr int kLooks = 2;
  for (int look = 1;; ++look) {
    try {
      return open_checked(folder);
    } catch (const DatabaseError &error) {
      if (!is_damage(error)) {
        throw;
      }
      if (look == kLooks) {
        message("platform: the configuration database is damaged: %s\n", error.what());
        return {};
      }
      message("platform: the configuration database looks damaged, it is looked at again: %s\n", error.what());
    }
  }
}

Connection open_or_create() {
  const Descriptor folder = locked_folder();
  if (!exists_in(folder, kDatabaseName)) {
    create_database(folder);
  }
  Connection opened = open_undamaged(folder);
  if (opened.handle) {
    return opened;
  }
  set_aside(folder);
  create_database(folder);
  return open_checked(folder);
}

// SQLite says so as well when it could not look.
bool has_moved() {
  int moved = 0;
  sqlite3_file_control(connection.handle.get(), nullptr, SQLITE_FCNTL_HAS_MOVED, &moved);
  return moved != 0;
}

// The old file stays open until there is another connection: no new file has its number then.
void connect_again() {
  Connection opened = open_or_create();
  if (!same_file(opened.file, connection.file)) {
    generation++;
  }
  disconnect_database();
  connection = std::move(opened);
}

}  // namespace

void connect_database() {
  if (!connection.handle) {
    connection = open_or_create();
    generation++;
  }
}

// A connection to a file that is no longer in place must not tidy up on closing: the names beside it are another
// database's by now.
void disconnect_database() {
  if (connection.handle) {
    set_tidying(connection.handle.get(), !has_moved());
  }
  connection = {};
}

sqlite3 *database() {
  if (connection.handle && has_moved()) {
    connect_again();
  }
  return connection.handle.get();
}

uint64_t database_generation() {
  return generation;
}

}  // namespace kelvane::reference
