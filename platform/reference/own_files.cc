#include "platform/reference/own_files.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/reference/reference.h"

namespace kelvane::reference {
namespace {

constexpr int kLockTries = 100;
constexpr int kLockPauseMilliseconds = 50;

std::string &root_folder() {
  static std::string folder;
  return folder;
}

Descriptor open_folder_at(int folder, const std::string &name) {
  return Descriptor(openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

Descriptor make_folder_at(const Descriptor &folder, const std::string &name) {
  Descriptor found = open_folder_at(folder.get(), name);
  if (found.present()) {
    return found;
  }
  if (errno == ENOENT) {
    if (mkdirat(folder.get(), name.c_str(), 0700) != 0 && errno != EEXIST) {
      throw_errno("cannot create folder " + name);
    }
    fsync(folder.get());
  }
  found = open_folder_at(folder.get(), name);
  if (!found.present()) {
    throw_errno("cannot open folder " + name);
  }
  return found;
}

}  // namespace

Descriptor::~Descriptor() {
  if (number_ >= 0) {
    close(number_);
  }
}

Descriptor::Descriptor(Descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}

Descriptor &Descriptor::operator=(Descriptor &&other) noexcept {
  std::swap(number_, other.number_);
  return *this;
}

std::string own_path(const std::string &path) {
  return root_folder() + path;
}

Descriptor open_own_folder(const std::string &path) {
  const std::string full = own_path(path);
  Descriptor folder = open_folder_at(AT_FDCWD, full.rfind('/', 0) == 0 ? "/" : ".");
  if (!folder.present()) {
    throw_errno("cannot open the root folder");
  }
  size_t begin = 0;
  while (begin < full.size()) {
    const size_t end = std::min(full.find('/', begin), full.size());
    if (end > begin) {
      folder = make_folder_at(folder, full.substr(begin, end - begin));
    }
    begin = end + 1;
  }
  return folder;
}

bool done_in_time(const std::function<bool()> &attempt) {
  for (int pauses = 0; !attempt(); ++pauses) {
    if (pauses == kLockTries) {
      return false;
    }
    poll(nullptr, 0, kLockPauseMilliseconds);  // unlike nanosleep, real time also where a program plays with the clock
  }
  return true;
}

void lock_folder(const Descriptor &folder, const std::string &name) {
  const bool locked = done_in_time([&] {
    const bool now = flock(folder.get(), LOCK_EX | LOCK_NB) == 0;
    if (!now && errno != EWOULDBLOCK) {
      throw_errno("cannot lock " + name);
    }
    return now;
  });
  if (!locked) {
    throw std::runtime_error("another process holds " + name);
  }
}

bool locked_by_another(const Descriptor &file) {
  return flock(file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

bool same_file(const struct stat &one, const struct stat &other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool exists_in(const Descriptor &folder, const std::string &name) {
  const bool found = faccessat(folder.get(), name.c_str(), F_OK, 0) == 0;
  if (!found && errno != ENOENT) {
    throw_errno("cannot tell whether there is a " + name);
  }
  return found;
}

void throw_errno(const std::string &what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace kelvane::reference

using kelvane::reference::own_path;

void reference_set_root(const char *folder) {
  std::string root = folder == nullptr ? "" : folder;
  while (!root.empty() && root.back() == '/') {
    root.pop_back();
  }
  kelvane::reference::root_folder() = root;
}

std::string reference_database_path() {
  return own_path(std::string(kelvane::reference::kDatabaseFolder) + "/" + kelvane::reference::kDatabaseName);
}

std::string reference_debug_record_path() {
  return own_path(std::string(kelvane::reference::kDebugFolder) + "/" + kelvane::reference::kDebugName);
}
