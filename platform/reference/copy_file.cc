// Copying a file of the agent's. Its paths go through the plain calls of the operating system (see reference.h).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/platform.h"
#include "platform/reference/guard.h"
#include "platform/reference/own_files.h"

namespace kelvane::reference {
namespace {

constexpr size_t kPiece = 65536;

std::string folder_of(const std::string &path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

Descriptor open_source(const char *source) {
  Descriptor file(open(source, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status = {};
  const bool regular = file.present() && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
  return regular ? Descriptor(std::move(file)) : Descriptor();
}

bool write_all(const Descriptor &file, const char *bytes, size_t length) {
  while (length > 0) {
    const ssize_t written = write(file.get(), bytes, length);
    if (written < 0 && errno != EINTR) {
      return false;
    }
    const size_t done = written < 0 ? 0 : static_cast<size_t>(written);
    bytes += done;
    length -= done;
  }
  return true;
}

// Some files hold passwords: nothing of them stays in memory.
bool copy_bytes(const Descriptor &from, const Descriptor &to) {
  char piece[kPiece];
  ssize_t length = 0;
  bool good = true;
  do {
    length = read(from.get(), piece, sizeof piece);
    good = length < 0 ? errno == EINTR : write_all(to, piece, static_cast<size_t>(length));
  } while (good && length != 0);
  explicit_bzero(piece, sizeof piece);
  return good;
}

Descriptor open_unfinished(const std::string &path) {
  Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
  if (!file.present()) {
    throw_errno("cannot open " + path);
  }
  return file;
}

// Whether the file is this process's to write: it is locked, or its file system knows no locks, it has the name still
// (another process may have finished it meanwhile) and it is empty. What a stopped process has left is removed.
bool taken(const Descriptor &file, const std::string &path) {
  if (locked_by_another(file)) {
    return false;
  }
  struct stat opened = {};
  struct stat named = {};
  if (fstat(file.get(), &opened) != 0 || (lstat(path.c_str(), &named) != 0 && errno != ENOENT)) {
    throw_errno("cannot look at " + path);
  }
  if (!S_ISREG(opened.st_mode)) {
    throw std::runtime_error(path + " is no regular file");
  }
  if (!same_file(opened, named)) {
    return false;
  }
  if (opened.st_size != 0) {
    unlink(path.c_str());
  }
  return opened.st_size == 0;
}

// Two processes that copy into one folder do it one after the other: the new file has the same name for both.
Descriptor take_unfinished(const std::string &path) {
  Descriptor file;
  const bool mine = done_in_time([&] {
    file = open_unfinished(path);
    return taken(file, path);
  });
  if (!mine) {
    throw std::runtime_error("another process holds " + path);
  }
  return file;
}

bool copy_file(const char *source, const std::string &destination) {
  const Descriptor from = open_source(source);
  if (!from.present()) {
    return false;
  }
  const std::string folder = folder_of(destination);
  const std::string unfinished = folder + "/.kelvane-copy";
  const Descriptor to = take_unfinished(unfinished);
  if (fchmod(to.get(), 0600) != 0 || !copy_bytes(from, to) || fsync(to.get()) != 0 ||
      rename(unfinished.c_str(), destination.c_str()) != 0) {
    unlink(unfinished.c_str());
    return false;
  }
  const Descriptor in(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  fsync(in.get());
  return true;
}

}  // namespace
}  // namespace kelvane::reference

int32_t ncfg_copyfile(const char *source, const char *destination) {
  if (source == nullptr || destination == nullptr || *destination == '\0') {
    return -1;
  }
  return kelvane::reference::guarded("ncfg_copyfile", -1,
                                     [=] { return kelvane::reference::copy_file(source, destination) ? 0 : -1; });
}
