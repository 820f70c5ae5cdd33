// The wrapped calls on the files that the agent opened, and the syncs. They stand in no trace unless they fail as
// planned.
#include <fcntl.h>
#include <features.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include "tools/sandbox/durability.h"
#include "tools/sandbox/errno_names.h"
#include "tools/sandbox/open_files.h"
#include "tools/sandbox/text_forms.h"
#include "tools/sandbox/world.h"

extern "C" {
ssize_t __real_read(int descriptor, void *bytes, size_t size);
ssize_t __real_write(int descriptor, const void *bytes, size_t size);
int __real_fsync(int descriptor);
int __real_fchmod(int descriptor, mode_t mode);
void __real_sync(void);
#if __GLIBC_PREREQ(2, 33)
int __real_fstat(int descriptor, struct stat *out);
#endif
}

namespace {

using sandbox::world;

// The agent's path for the descriptor when the call is one to count, else null.
const std::string *path_of(int descriptor) {
  const auto &open = sandbox::open_descriptors();
  const auto found = world().agent_calls() ? open.find(descriptor) : open.end();
  return found != open.end() ? &found->second : nullptr;
}

// An errno, kShort, or 0.
int fault_of(const char *call, const std::string &path) {
  const int fault = world().strike("bytes", call, path);
  if (fault != 0) {
    world().trace.line(std::string("system ") + call + "(" + sandbox::quoted(path.c_str()) +
                       ") fails as planned = " + (fault == sandbox::kShort ? "short" : sandbox::errno_name(fault)));
  }
  return fault;
}

// What the platform does to a file of the appliance's or on its CD-ROM: an errno, kShort, or 0.
int fault_inside(const char *call, int descriptor) {
  if (!world().active || world().agent_calls()) {
    return 0;
  }
  std::error_code failed;
  const std::string place =
      std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), failed).string();
  const bool counts = !failed && world().paths.shown(place) != place;
  return counts ? world().strike_inside(call, place) : 0;
}

// False when it fails, with errno set.
bool strike_inside(const char *call, int descriptor) {
  const int fault = fault_inside(call, descriptor);
  errno = fault > 0 ? fault : errno;
  return fault <= 0;
}

// The call is told whether it is to do half of it.
template <typename Call>
ssize_t transfer(const char *name, int descriptor, Call &&call) {
  const std::string *path = path_of(descriptor);
  const int fault = path != nullptr ? fault_of(name, *path) : fault_inside(name, descriptor);
  if (fault > 0) {
    errno = fault;
    return -1;
  }
  return call(fault == sandbox::kShort);
}

// Of what there is, where that can be told: asked for half of a buffer, a small file would come whole.
size_t half_to_read(int descriptor, size_t size) {
  std::string there(size, '\0');
  const ssize_t all = pread(descriptor, there.data(), size, lseek(descriptor, 0, SEEK_CUR));
  return ((all > 0 ? static_cast<size_t>(all) : size) + 1) / 2;
}

}  // namespace

extern "C" {

ssize_t __wrap_read(int descriptor, void *bytes, size_t size) {
  return transfer("read", descriptor, [&](bool half) {
    return __real_read(descriptor, bytes, half ? half_to_read(descriptor, size) : size);
  });
}

ssize_t __wrap_write(int descriptor, const void *bytes, size_t size) {
  return transfer("write", descriptor,
                  [&](bool half) { return __real_write(descriptor, bytes, half ? (size + 1) / 2 : size); });
}

int __wrap_fsync(int descriptor) {
  if (!strike_inside("fsync", descriptor)) {
    return -1;
  }
  const int result = __real_fsync(descriptor);
  if (result == 0 && world().active) {
    sandbox::made_durable(descriptor);
  }
  return result;
}

// Nothing is written to the machine's disc: what matters is what would be there.
void __wrap_sync(void) {
  if (!world().active) {
    __real_sync();
    return;
  }
  if (world().agent_calls()) {
    world().strike("bytes", "sync", "");
  }
  sandbox::all_made_durable();
}

// The platform's alone: the agent sets no rights by descriptor.
int __wrap_fchmod(int descriptor, mode_t mode) {
  return strike_inside("fchmod", descriptor) ? __real_fchmod(descriptor, mode) : -1;
}

#if __GLIBC_PREREQ(2, 33)
int __wrap_fstat(int descriptor, struct stat *out) {
  if (!strike_inside("fstat", descriptor)) {
    return -1;
  }
  const std::string *path = path_of(descriptor);
  const int fault = path != nullptr ? fault_of("fstat", *path) : 0;
  if (fault > 0) {
    errno = fault;
    return -1;
  }
  return __real_fstat(descriptor, out);
}
#endif

}  // extern "C"
