#include "platform/reference/debug_record.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "platform/platform.h"
#include "platform/reference/guard.h"
#include "platform/reference/own_files.h"

namespace kelvane::reference {
namespace {

struct DebugFile {
  uint32_t mark;
  uint32_t version;
  uint32_t size;
  uint32_t reserved;
  ncfg_debug_zone record;
};

constexpr uint32_t kMark = 0x4b564447;
constexpr uint32_t kVersion = 1;
constexpr DebugFile kNewFile = {
    .mark = kMark, .version = kVersion, .size = sizeof(DebugFile), .reserved = 0, .record = {}};

ncfg_debug_zone private_record;

DebugFile *mapped = nullptr;

bool holds_record(const Descriptor &file) {
  struct stat status = {};
  DebugFile found = {};
  return file.present() && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
         status.st_size == sizeof(DebugFile) && pread(file.get(), &found, sizeof found, 0) == sizeof found &&
         found.mark == kMark && found.version == kVersion && found.size == sizeof(DebugFile);
}

// Writing the file whole, rather than only its length, makes sure that its page has room on the file system: touching a
// mapped page that has none ends the process.
void write_new_record(const Descriptor &folder, const Descriptor &file) {
  const ssize_t written =
      fchmod(file.get(), 0600) == 0 ? pwrite(file.get(), &kNewFile, sizeof kNewFile, 0) : ssize_t{-1};
  if (written != sizeof kNewFile) {
    const int reason = written < 0 ? errno : ENOSPC;
    unlinkat(folder.get(), kDebugName, 0);
    errno = reason;
    throw_errno("cannot write the debug record");
  }
}

// Whether there is none in the way any more: an empty file is one that a process makes, or was making when it was
// stopped. One of another layout is removed, not changed: a process that still maps it keeps what it has.
bool fill_or_remove(const Descriptor &folder, const Descriptor &file) {
  struct stat opened = {};
  struct stat named = {};
  if (locked_by_another(file)) {
    return false;
  }
  if (fstat(file.get(), &opened) != 0 ||
      (fstatat(folder.get(), kDebugName, &named, AT_SYMLINK_NOFOLLOW) != 0 && errno != ENOENT)) {
    throw_errno("cannot look at the debug record");
  }
  if (!same_file(opened, named)) {
    return false;
  }
  if (!holds_record(file)) {
    if (S_ISREG(opened.st_mode) && opened.st_size == 0) {
      write_new_record(folder, file);
    } else {
      unlinkat(folder.get(), kDebugName, 0);
    }
  }
  return true;
}

// The record under its name, or an absent one when there is none yet.
Descriptor attempt_record(const Descriptor &folder) {
  for (int step = 0; step < 3; ++step) {  // to remove one of another layout, to make one, to open it
    Descriptor file(openat(folder.get(), kDebugName, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
    if (holds_record(file)) {
      // Best effort: it may be another user's.
      [[maybe_unused]] const int result = fchmod(file.get(), 0600);
      return file;
    }
    if (!file.present() && (errno != ELOOP || unlinkat(folder.get(), kDebugName, 0) != 0)) {
      throw_errno("cannot open the debug record");
    }
    if (file.present() && !fill_or_remove(folder, file)) {
      break;
    }
  }
  return Descriptor();
}

// Opened anew after it was made: a descriptor that is locked would stay so as long as the record is mapped.
Descriptor open_or_create_record() {
  const Descriptor folder = open_own_folder(kDebugFolder);
  Descriptor file;
  if (!done_in_time([&] { return (file = attempt_record(folder)).present(); })) {
    throw std::runtime_error("another process holds the debug record");
  }
  return file;
}

void fill_os_version(ncfg_debug_zone &record) {
  char text[sizeof record.os_version] = "";
  utsname system = {};
  if (uname(&system) == 0) {
    snprintf(text, sizeof text, "%.20s %.40s", system.sysname, system.release);
  }
  if (memcmp(record.os_version, text, sizeof text) != 0) {
    memcpy(record.os_version, text, sizeof text);
  }
}

void map_shared_record() {
  const Descriptor file = open_or_create_record();
  void *start = mmap(nullptr, sizeof(DebugFile), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
  if (start == MAP_FAILED) {
    throw_errno("cannot map the debug record");
  }
  DebugFile *before = mapped;
  mapped = static_cast<DebugFile *>(start);
  nCfg_debug_zone = &mapped->record;
  if (before != nullptr) {
    munmap(before, sizeof(DebugFile));
  }
}

}  // namespace

void map_debug_record() noexcept {
  const bool shared = guarded("debug record", false, [] {
    map_shared_record();
    return true;
  });
  if (!shared) {
    nCfg_debug_zone = mapped != nullptr ? &mapped->record : &private_record;
  }
  fill_os_version(*nCfg_debug_zone);
  nCfg_debug_zone->host_name[NCFG_HOST_NAME_LENGTH] = '\0';
}

}  // namespace kelvane::reference

struct ncfg_debug_zone *nCfg_debug_zone = nullptr;
