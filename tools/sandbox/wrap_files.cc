// The wrapped calls that take paths. Each maps its paths, lets a planned failure happen, and writes its trace line with
// the paths as the agent named them. open and fopen are one call in the trace: which of the two a module uses is its
// own affair.
#include <dirent.h>
#include <fcntl.h>
#include <features.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "tools/sandbox/durability.h"
#include "tools/sandbox/errno_names.h"
#include "tools/sandbox/open_files.h"
#include "tools/sandbox/text_forms.h"
#include "tools/sandbox/world.h"

extern "C" {
int __real_open(const char *path, int flags, ...);
FILE *__real_fopen(const char *path, const char *mode);
int __real_close(int descriptor);
int __real_dup2(int from, int to);
int __real_access(const char *path, int mode);
#if __GLIBC_PREREQ(2, 33)
int __real_stat(const char *path, struct stat *out);
int __real_lstat(const char *path, struct stat *out);
#else
// A C library before 2.33 has no stat of its own: its headers turn it into these.
int __real___xstat(int version, const char *path, struct stat *out);
int __real___lxstat(int version, const char *path, struct stat *out);
#endif
int __real_unlink(const char *path);
int __real_remove(const char *path);
int __real_rename(const char *from, const char *to);
int __real_mkdir(const char *path, mode_t mode);
int __real_rmdir(const char *path);
int __real_symlink(const char *target, const char *path);
ssize_t __real_readlink(const char *path, char *out, size_t size);
int __real_link(const char *from, const char *to);
int __real_chmod(const char *path, mode_t mode);
int __real_truncate(const char *path, off_t size);
DIR *__real_opendir(const char *path);
}

namespace {

using sandbox::closed_descriptors;
using sandbox::open_descriptors;
using sandbox::quoted;
using sandbox::SystemCall;
using sandbox::text_of;
using sandbox::world;

std::string mapped(const char *path) {
  return world().active ? world().paths.map(text_of(path)) : text_of(path);
}

std::string octal(mode_t mode) {
  char out[16];
  std::snprintf(out, sizeof out, "%04o", static_cast<unsigned>(mode));
  return out;
}

// Calls with one path whose result is 0 or -1.
template <typename Call>
int path_call(const char *name, const char *path, const std::string &more, Call &&call) {
  const SystemCall now(name, text_of(path), quoted(path) + more);
  if (now.fault != 0) {
    errno = now.fault;
    return now.done(-1);
  }
  return now.done(call(mapped(path)));
}

// The same with two paths, of which faults match the first.
template <typename Call>
int two_path_call(const char *name, const char *from, const char *to, Call &&call) {
  const SystemCall now(name, text_of(from), quoted(from) + ", " + quoted(to));
  if (now.fault != 0) {
    errno = now.fault;
    return now.done(-1);
  }
  return now.done(call());
}

#if __GLIBC_PREREQ(2, 33)
int real_stat(const char *path, struct stat *out) {
  return __real_stat(path, out);
}
int real_lstat(const char *path, struct stat *out) {
  return __real_lstat(path, out);
}
#else
int real_stat(const char *path, struct stat *out) {
  return __real___xstat(_STAT_VER, path, out);
}
int real_lstat(const char *path, struct stat *out) {
  return __real___lxstat(_STAT_VER, path, out);
}
#endif

// What was noted about a change holds when the change was made.
int noted(int result) {
  if (result < 0) {
    const int error = errno;
    sandbox::not_done();
    errno = error;
  }
  return result;
}

std::string flags_text(int flags) {
  const int access = flags & O_ACCMODE;
  std::string out = access == O_RDONLY ? "r" : access == O_RDWR ? "rw" : (flags & O_APPEND) != 0 ? "a" : "w";
  return out + ((flags & O_EXCL) != 0 ? "x" : "");
}

std::string mode_text(const char *mode) {
  std::string out;
  for (const char *c = mode; *c != '\0' && *c != ','; ++c) {
    if (*c == '+') {
      out = "rw" + out.substr(1);
    } else if (*c != 'b' && *c != 'e') {
      out += *c;
    }
  }
  return out;
}

// The errno with which the open of this path fails before the machine is asked, or 0.
int refused(const SystemCall &call, const char *path) {
  if (call.fault != 0) {
    return call.fault;
  }
  return world().active && text_of(path) == sandbox::Media::kDevice ? world().media.open_device() : 0;
}

// The drive's device is played by an empty file.
std::string opened_path(const char *path) {
  return world().active && text_of(path) == sandbox::Media::kDevice ? "/dev/null" : mapped(path);
}

void opened(const SystemCall &call, const char *path, int descriptor) {
  if (call.agent && descriptor >= 0) {
    open_descriptors()[descriptor] = text_of(path);
    closed_descriptors().erase(descriptor);
  }
}

int open_with(const char *path, int flags, mode_t mode) {
  const SystemCall call("open", text_of(path), quoted(path) + ", \"" + flags_text(flags) + "\"");
  const int error = refused(call, path);
  if (error != 0) {
    errno = error;
    return call.done(-1);
  }
  const bool writes = (flags & O_ACCMODE) != O_RDONLY;
  if (writes) {
    sandbox::about_to_write(opened_path(path), (flags & O_TRUNC) != 0);
  }
  const int descriptor = __real_open(opened_path(path).c_str(), flags, mode);
  if (writes) {
    noted(descriptor);
  }
  if (descriptor < 0) {
    return call.done(-1);
  }
  opened(call, path, descriptor);
  call.done("ok");
  return descriptor;
}

// The permission bits are given only where a file may be made.
mode_t mode_of(int flags, va_list arguments) {
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
}

}  // namespace

extern "C" {

int __wrap_open(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return open_with(path, flags, mode);
}

int __wrap_open64(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return open_with(path, flags, mode);
}

int __wrap_creat(const char *path, mode_t mode) {
  return open_with(path, O_WRONLY | O_CREAT | O_TRUNC, mode);
}

// What open becomes in a fortified build when its flags are not known at compile time.
int __wrap___open_2(const char *path, int flags) {
  return open_with(path, flags, 0);
}
int __wrap___open64_2(const char *path, int flags) {
  return open_with(path, flags, 0);
}

FILE *__wrap_fopen(const char *path, const char *mode) {
  const SystemCall call("open", text_of(path), quoted(path) + ", \"" + mode_text(mode) + "\"");
  const int error = refused(call, path);
  if (error != 0) {
    errno = error;
    call.done(-1);
    return nullptr;
  }
  const bool writes = mode[0] != 'r' || std::strchr(mode, '+') != nullptr;
  if (writes) {
    sandbox::about_to_write(opened_path(path), mode[0] == 'w');
  }
  FILE *stream = __real_fopen(opened_path(path).c_str(), mode);
  if (writes) {
    noted(stream != nullptr ? 0 : -1);
  }
  if (stream == nullptr) {
    call.done(-1);
    return nullptr;
  }
  opened(call, path, fileno(stream));
  call.done("ok");
  return stream;
}

FILE *__wrap_fopen64(const char *path, const char *mode) {
  return __wrap_fopen(path, mode);
}

// Closing is no event, but closing what is closed already is one.
int __wrap_close(int descriptor) {
  if (!world().agent_calls()) {
    return __real_close(descriptor);
  }
  const auto found = open_descriptors().find(descriptor);
  if (found != open_descriptors().end()) {
    closed_descriptors()[descriptor] = found->second;
    open_descriptors().erase(found);
  } else if (closed_descriptors().count(descriptor) != 0) {
    world().trace.line("system close(" + quoted(closed_descriptors()[descriptor].c_str()) + ") a second time");
  }
  return __real_close(descriptor);
}

// No event either, unless it fails as planned. A number has the name of the file that it was last.
int __wrap_dup2(int from, int to) {
  if (!world().agent_calls()) {
    return __real_dup2(from, to);
  }
  const auto found = closed_descriptors().find(to);
  const std::string name = found != closed_descriptors().end() ? found->second : "";
  const int fault = world().strike("system", "dup2", name);
  if (fault != 0) {
    world().trace.line("system dup2(" + quoted(name.c_str()) + ") fails as planned = " + sandbox::errno_name(fault));
    errno = fault;
    return -1;
  }
  return __real_dup2(from, to);
}

int __wrap_access(const char *path, int mode) {
  const std::string shown = mode == F_OK ? ", F_OK" : mode == R_OK ? ", R_OK" : ", " + std::to_string(mode);
  return path_call("access", path, shown, [&](const std::string &at) { return __real_access(at.c_str(), mode); });
}

int __wrap_stat(const char *path, struct stat *out) {
  return path_call("stat", path, "", [&](const std::string &at) { return real_stat(at.c_str(), out); });
}

int __wrap_lstat(const char *path, struct stat *out) {
  return path_call("lstat", path, "", [&](const std::string &at) { return real_lstat(at.c_str(), out); });
}

int __wrap_stat64(const char *path, struct stat *out) {
  return __wrap_stat(path, out);
}
int __wrap_lstat64(const char *path, struct stat *out) {
  return __wrap_lstat(path, out);
}
int __wrap___xstat(int, const char *path, struct stat *out) {
  return __wrap_stat(path, out);
}
int __wrap___lxstat(int, const char *path, struct stat *out) {
  return __wrap_lstat(path, out);
}

int __wrap_unlink(const char *path) {
  return path_call("unlink", path, "", [](const std::string &at) {
    sandbox::about_to_remove(at);
    return noted(__real_unlink(at.c_str()));
  });
}

int __wrap_remove(const char *path) {
  return path_call("unlink", path, "", [](const std::string &at) {
    sandbox::about_to_remove(at);
    return noted(__real_remove(at.c_str()));
  });
}

int __wrap_rename(const char *from, const char *to) {
  return two_path_call("rename", from, to, [&] {
    sandbox::about_to_rename(mapped(from), mapped(to));
    return noted(__real_rename(mapped(from).c_str(), mapped(to).c_str()));
  });
}

int __wrap_link(const char *from, const char *to) {
  return two_path_call("link", from, to, [&] {
    sandbox::about_to_name(mapped(from), mapped(to));
    return noted(__real_link(mapped(from).c_str(), mapped(to).c_str()));
  });
}

// The target is text and stays as it is.
int __wrap_symlink(const char *target, const char *path) {
  return two_path_call("symlink", target, path, [&] {
    sandbox::about_to_make_link(mapped(path), target);
    return noted(__real_symlink(target, mapped(path).c_str()));
  });
}

int __wrap_mkdir(const char *path, mode_t mode) {
  return path_call("mkdir", path, ", " + octal(mode),
                   [&](const std::string &at) { return __real_mkdir(at.c_str(), mode); });
}

int __wrap_rmdir(const char *path) {
  return path_call("rmdir", path, "", [](const std::string &at) { return __real_rmdir(at.c_str()); });
}

int __wrap_chmod(const char *path, mode_t mode) {
  return path_call("chmod", path, ", " + octal(mode),
                   [&](const std::string &at) { return __real_chmod(at.c_str(), mode); });
}

int __wrap_truncate(const char *path, off_t size) {
  return path_call("truncate", path, ", " + std::to_string(size), [&](const std::string &at) {
    sandbox::about_to_write(at, size == 0);
    return noted(__real_truncate(at.c_str(), size));
  });
}

ssize_t __wrap_readlink(const char *path, char *out, size_t size) {
  return path_call("readlink", path, "",
                   [&](const std::string &at) { return static_cast<int>(__real_readlink(at.c_str(), out, size)); });
}

// The same in a fortified build.
ssize_t __wrap___readlink_chk(const char *path, char *out, size_t size, size_t) {
  return __wrap_readlink(path, out, size);
}

DIR *__wrap_opendir(const char *path) {
  return __real_opendir(mapped(path).c_str());
}

}  // extern "C"
