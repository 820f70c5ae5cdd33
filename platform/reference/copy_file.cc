// Copying a file of the agent's. Its paths go through the plain calls of the operating system (see reference.h).
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
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

bool copy_bytes(const Descriptor &from, const Descriptor &to) {
  std::string piece(kPiece, '\0');
  for (;;) {
    const ssize_t length = read(from.get(), piece.data(), piece.size());
    if (length == 0) {
      return true;
    }
    if (length < 0 && errno == EINTR) {
      continue;
    }
    if (length < 0 || !write_all(to, piece.data(), static_cast<size_t>(length))) {
      return false;
    }
  }
}

bool write_copy(const Descriptor &from, const std::string &path) {
  const Descriptor to(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  return to.present() && fchmod(to.get(), 0600) == 0 && copy_bytes(from, to) && fsync(to.get()) == 0;
}

// The new file has the same name for every process, behind the folder's lock: one that a stopped process has left does
// not stay.
bool copy_file(const char *source, const std::string &destination) {
  const Descriptor from = open_source(source);
  const std::string folder = folder_of(destination);
  const Descriptor in(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!from.present() || !in.present()) {
    return false;
  }
  lock_folder(in, folder);
  const std::string unfinished = folder + "/.copy";
  unlink(unfinished.c_str());
  if (!write_copy(from, unfinished) || rename(unfinished.c_str(), destination.c_str()) != 0) {
    unlink(unfinished.c_str());
    return false;
  }
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
