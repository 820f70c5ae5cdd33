#include "tools/sandbox/database_layer.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

#include "tools/sandbox/database_loss.h"
#include "tools/sandbox/whole_file.h"
#include "tools/sandbox/world.h"

namespace sandbox {
namespace {

// What SQLite sees: its own head, then our part, then the machine's file.
struct File {
  sqlite3_file head;
  std::string *path;
  sqlite3_file *real() { return reinterpret_cast<sqlite3_file *>(this + 1); }
};

File &file_of(sqlite3_file *file) {
  return *reinterpret_cast<File *>(file);
}

sqlite3_file *real_of(sqlite3_file *file) {
  return file_of(file).real();
}

sqlite3_vfs *machine_of(sqlite3_vfs *vfs) {
  return static_cast<sqlite3_vfs *>(vfs->pAppData);
}

std::string last_part(const char *path) {
  return path != nullptr ? std::filesystem::path(path).filename().string() : "a temporary file";
}

int strike(const char *call, const std::string &path) {
  const bool there = world().active || world().closing;
  return there ? world().strike(world().active ? "database" : "closing", call, last_part(path.c_str())) : 0;
}

int sqlite_error(int fault, int otherwise) {
  return fault == ENOSPC ? SQLITE_FULL : otherwise;
}

// ---- one file ----------------------------------------------------------------------------------------------------

sqlite3_int64 size_of(File &file) {
  sqlite3_int64 size = 0;
  return file.real()->pMethods->xFileSize(file.real(), &size) == SQLITE_OK ? size : 0;
}

std::string part_of(File &file, sqlite3_int64 at, sqlite3_int64 length) {
  const sqlite3_int64 size = size_of(file);
  std::string out(static_cast<size_t>(std::max<sqlite3_int64>(0, std::min(length, size - at))), '\0');
  if (!out.empty()) {
    file.real()->pMethods->xRead(file.real(), out.data(), static_cast<int>(out.size()), at);
  }
  return out;
}

void note_change(File &file, sqlite3_int64 at, std::string after, bool truncation) {
  const sqlite3_int64 size = size_of(file);
  const sqlite3_int64 length = truncation ? size - at : static_cast<sqlite3_int64>(after.size());
  about_to_change_database(*file.path, {.at = at,
                                        .before = part_of(file, at, length),
                                        .after = std::move(after),
                                        .size_before = size,
                                        .truncation = truncation});
}

int close_file(sqlite3_file *file) {
  const int fault = world().active ? 0 : strike("close", *file_of(file).path);
  const int result = real_of(file)->pMethods->xClose(real_of(file));
  delete file_of(file).path;
  return fault > 0 ? SQLITE_IOERR_CLOSE : result;
}

int read_file(sqlite3_file *file, void *bytes, int length, sqlite3_int64 at) {
  if (strike("read", *file_of(file).path) > 0) {
    return SQLITE_IOERR_READ;
  }
  return real_of(file)->pMethods->xRead(real_of(file), bytes, length, at);
}

int write_file(sqlite3_file *file, const void *bytes, int length, sqlite3_int64 at) {
  const int fault = strike("write", *file_of(file).path);
  if (fault > 0) {
    return sqlite_error(fault, SQLITE_IOERR_WRITE);
  }
  const int most = fault == kShort ? length / 2 : length;
  note_change(file_of(file), at, std::string(static_cast<const char *>(bytes), static_cast<size_t>(most)), false);
  const int result = real_of(file)->pMethods->xWrite(real_of(file), bytes, most, at);
  return fault == kShort ? SQLITE_FULL : result;
}

int truncate_file(sqlite3_file *file, sqlite3_int64 size) {
  const int fault = strike("truncate", *file_of(file).path);
  if (fault > 0) {
    return SQLITE_IOERR_TRUNCATE;
  }
  note_change(file_of(file), size, "", true);
  return real_of(file)->pMethods->xTruncate(real_of(file), size);
}

int sync_file(sqlite3_file *file, int flags) {
  const int fault = strike("sync", *file_of(file).path);
  if (fault > 0) {
    return sqlite_error(fault, SQLITE_IOERR_FSYNC);
  }
  const int result = real_of(file)->pMethods->xSync(real_of(file), flags);
  if (result == SQLITE_OK) {
    database_file_synced(*file_of(file).path);
  }
  return result;
}

// ---- what is only passed on ---------------------------------------------------------------------------------------

int file_size(sqlite3_file *file, sqlite3_int64 *size) {
  return real_of(file)->pMethods->xFileSize(real_of(file), size);
}
int lock(sqlite3_file *file, int level) {
  return real_of(file)->pMethods->xLock(real_of(file), level);
}
int unlock(sqlite3_file *file, int level) {
  return real_of(file)->pMethods->xUnlock(real_of(file), level);
}
int check_lock(sqlite3_file *file, int *out) {
  return real_of(file)->pMethods->xCheckReservedLock(real_of(file), out);
}
int file_control(sqlite3_file *file, int operation, void *argument) {
  return real_of(file)->pMethods->xFileControl(real_of(file), operation, argument);
}
int sector_size(sqlite3_file *file) {
  return real_of(file)->pMethods->xSectorSize(real_of(file));
}
int characteristics(sqlite3_file *file) {
  return real_of(file)->pMethods->xDeviceCharacteristics(real_of(file));
}
int shared_map(sqlite3_file *file, int page, int size, int extend, void volatile **out) {
  return real_of(file)->pMethods->xShmMap(real_of(file), page, size, extend, out);
}
int shared_lock(sqlite3_file *file, int offset, int count, int flags) {
  return real_of(file)->pMethods->xShmLock(real_of(file), offset, count, flags);
}
void shared_barrier(sqlite3_file *file) {
  real_of(file)->pMethods->xShmBarrier(real_of(file));
}
int shared_unmap(sqlite3_file *file, int remove) {
  return real_of(file)->pMethods->xShmUnmap(real_of(file), remove);
}

constexpr sqlite3_io_methods kMethods = {
    .iVersion = 2,
    .xClose = close_file,
    .xRead = read_file,
    .xWrite = write_file,
    .xTruncate = truncate_file,
    .xSync = sync_file,
    .xFileSize = file_size,
    .xLock = lock,
    .xUnlock = unlock,
    .xCheckReservedLock = check_lock,
    .xFileControl = file_control,
    .xSectorSize = sector_size,
    .xDeviceCharacteristics = characteristics,
    .xShmMap = shared_map,
    .xShmLock = shared_lock,
    .xShmBarrier = shared_barrier,
    .xShmUnmap = shared_unmap,
    .xFetch = nullptr,
    .xUnfetch = nullptr,
};

// ---- files by name -------------------------------------------------------------------------------------------------

int open_file(sqlite3_vfs *vfs, const char *path, sqlite3_file *file, int flags, int *out_flags) {
  file->pMethods = nullptr;
  const std::string name = path != nullptr ? path : "";
  if (strike("open", name) > 0) {
    return SQLITE_CANTOPEN;
  }
  sqlite3_vfs *machine = machine_of(vfs);
  const int result = machine->xOpen(machine, path, real_of(file), flags, out_flags);
  if (result == SQLITE_OK) {
    file_of(file).path = new std::string(name);
    database_file_opened(name);
    file->pMethods = &kMethods;
  }
  return result;
}

int delete_file(sqlite3_vfs *vfs, const char *path, int sync_folder) {
  if (strike("delete", path) > 0) {
    return SQLITE_IOERR_DELETE;
  }
  const bool there = std::filesystem::exists(path);
  const std::string bytes = whole_file(path);
  const int result = machine_of(vfs)->xDelete(machine_of(vfs), path, sync_folder);
  if (result == SQLITE_OK) {
    database_file_removed(path, sync_folder != 0 || !there, bytes);
  }
  return result;
}

int access_file(sqlite3_vfs *vfs, const char *path, int flags, int *out) {
  return machine_of(vfs)->xAccess(machine_of(vfs), path, flags, out);
}

int full_path(sqlite3_vfs *vfs, const char *path, int size, char *out) {
  return machine_of(vfs)->xFullPathname(machine_of(vfs), path, size, out);
}

}  // namespace

void use_database_layer() {
  static sqlite3_vfs layer = {};
  sqlite3_vfs *machine = sqlite3_vfs_find(nullptr);
  if (machine == nullptr) {
    throw std::runtime_error("SQLite has no files");
  }
  layer = *machine;
  layer.zName = "kelvane-sandbox";
  layer.pNext = nullptr;
  layer.pAppData = machine;
  layer.szOsFile = static_cast<int>(sizeof(File)) + machine->szOsFile;
  layer.xOpen = open_file;
  layer.xDelete = delete_file;
  layer.xAccess = access_file;
  layer.xFullPathname = full_path;
  if (sqlite3_vfs_register(&layer, 1) != SQLITE_OK) {
    throw std::runtime_error("SQLite takes no layer");
  }
}

}  // namespace sandbox
