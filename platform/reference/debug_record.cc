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
#include <string>

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
  return fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size == sizeof(DebugFile) &&
         pread(file.get(), &found, sizeof found, 0) == sizeof found && found.mark == kMark &&
         found.version == kVersion && found.size == sizeof(DebugFile);
}

Descriptor open_record(const Descriptor &folder) {
  return Descriptor(openat(folder.get(), kDebugName, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

// Writing the file whole, rather than only its length, makes sure that its page has room on the file system: touching a
// mapped page that has none ends the process.
void write_new_record(const Descriptor &folder, const std::string &name) {
  unlinkat(folder.get(), name.c_str(), 0);
  const Descriptor file(openat(folder.get(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file.present() || fchmod(file.get(), 0600) != 0) {
    throw_errno("cannot create the debug record");
  }
  const ssize_t written = pwrite(file.get(), &kNewFile, sizeof kNewFile, 0);
  if (written != sizeof kNewFile) {
    errno = written < 0 ? errno : ENOSPC;
    const int reason = errno;
    unlinkat(folder.get(), name.c_str(), 0);
    errno = reason;
    throw_errno("cannot write the debug record");
  }
}

// A file of another layout is replaced, not changed: a process that still maps it keeps what it has. Of two processes
// that create the record at once, the second finds the first one's.
Descriptor create_record(const Descriptor &folder, bool replace) {
  const std::string name = "." + std::string(kDebugName) + "." + std::to_string(getpid());
  write_new_record(folder, name);
  const int result = replace ? renameat(folder.get(), name.c_str(), folder.get(), kDebugName)
                             : linkat(folder.get(), name.c_str(), folder.get(), kDebugName, 0);
  const int reason = errno;
  unlinkat(folder.get(), name.c_str(), 0);
  if (result != 0 && reason != EEXIST) {
    errno = reason;
    throw_errno("cannot put the debug record in place");
  }
  return open_record(folder);
}

Descriptor open_or_create_record() {
  const Descriptor folder = open_own_folder(kDebugFolder);
  Descriptor file = open_record(folder);
  if (!file.present()) {
    file = create_record(folder, errno != ENOENT);
  }
  if (!holds_record(file)) {
    file = create_record(folder, true);
  }
  if (!holds_record(file)) {
    throw_errno("cannot open the debug record");
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
    nCfg_debug_zone = &private_record;
  }
  fill_os_version(*nCfg_debug_zone);
  nCfg_debug_zone->host_name[NCFG_HOST_NAME_LENGTH] = '\0';
}

}  // namespace kelvane::reference

struct ncfg_debug_zone *nCfg_debug_zone = nullptr;
