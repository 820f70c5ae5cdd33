#include "tests/support/fake_os.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "tests/support/recording_state.h"

namespace {

FakeOs *current = nullptr;

std::string quoted(const char *text) {
  return recording::quoted(text);
}

std::string hexadecimal(unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", value);
  return text;
}

std::string octal(unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, "0%o", value);
  return text;
}

std::string error_name(int error) {
  static const std::map<int, std::string> kNames = {
      {EACCES, "EACCES"}, {EBADF, "EBADF"},   {EBUSY, "EBUSY"},   {EEXIST, "EEXIST"},       {EINVAL, "EINVAL"},
      {EIO, "EIO"},       {EISDIR, "EISDIR"}, {ENODEV, "ENODEV"}, {ENOENT, "ENOENT"},       {ENOSPC, "ENOSPC"},
      {EPERM, "EPERM"},   {EROFS, "EROFS"},   {EXDEV, "EXDEV"},   {ENOMEDIUM, "ENOMEDIUM"}, {ENXIO, "ENXIO"},
  };
  const auto found = kNames.find(error);
  return found != kNames.end() ? found->second : std::to_string(error);
}

bool outside(const char *path) {
  return current == nullptr || path == nullptr || path[0] != '/' || std::strncmp(path, "/tmp/", 5) == 0 ||
         std::strncmp(path, "/proc/", 6) == 0 || current->is_real(path);
}

// Writes the call down and makes it, unless it is to fail; a call that fails by itself is written down so, too. Its
// arguments become a text only where somebody wants it: the fuzz targets hide the calls that they make most.
template <typename Arguments, typename Call>
int perform(const std::string &name, Arguments arguments, Call call) {
  if (const auto error = current->watches(name) ? current->enter(name, arguments()) : std::nullopt) {
    errno = *error;
    return -1;
  }
  const int result = call();
  if (result < 0) {
    const int error = errno;
    current->failed(name, error);
    errno = error;
  }
  return result;
}

}  // namespace

FakeOs::FakeOs(const std::set<std::string> &hidden) : hidden_(hidden) {
  for (const char *folder : {"dev", "cdrom", "etc", "data/etc/ssh", "var/run"}) {
    root_.write(std::string(folder) + "/.keep", "");
  }
  current = this;
}

FakeOs::~FakeOs() {
  current = nullptr;
}

std::string FakeOs::real(const std::string &path) const {
  return root_.path() + path;
}

bool FakeOs::is_real(const char *path) const {
  const size_t length = root_.path().size();
  return std::strncmp(path, root_.path().c_str(), length) == 0 && path[length] == '/';
}

std::optional<int> FakeOs::enter(const std::string &name, const std::string &arguments) {
  if (!watches(name)) {
    return std::nullopt;
  }
  const bool shown = hidden_.count(name) == 0;
  const std::string text = name + "(" + arguments + ")";
  std::optional<int> error;
  const auto failure = failures_.find(text);
  if (failure != failures_.end() && failure->second.times != 0) {
    failure->second.times--;
    error = failure->second.error;
  }
  if (shown) {
    recording::note(text + (error ? std::string(" -> ") + error_name(*error) : ""));
  }
  return error;
}

void FakeOs::failed(const std::string &name, int error) {
  if (hidden_.count(name) == 0) {
    recording::add_ending(recording::trace().size() - 1, std::string(" -> ") + error_name(error));
  }
}

extern "C" {

int __real_open(const char *path, int flags, ...);
int __real_close(int descriptor);
int __real_access(const char *path, int mode);
int __real_unlink(const char *path);
int __real_symlink(const char *target, const char *path);
int __real_mkdir(const char *path, mode_t mode);
int __real_rename(const char *from, const char *to);
void __real_sync();
int __real_mount(const char *source, const char *target, const char *type, unsigned long flags, const void *data);
int __real_umount(const char *target);
int __real_sethostname(const char *name, size_t length);
unsigned __real_sleep(unsigned seconds);
time_t __real_time(time_t *out);
int __real_setenv(const char *name, const char *value, int overwrite);
void __real_tzset();
int __real_sigaction(int number, const struct sigaction *action, struct sigaction *previous);

int __wrap_open(const char *path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
  }
  if (outside(path)) {
    return __real_open(path, flags, mode);
  }
  const auto how = [&] { return (flags & O_CREAT) != 0 ? "create, " + octal(mode) : std::string("read"); };
  const int descriptor = perform(
      "open", [&] { return quoted(path) + ", " + how(); },
      [&] { return __real_open(current->real(path).c_str(), flags, mode); });
  if (descriptor >= 0) {
    current->opened[descriptor] = path;
    current->closed.erase(descriptor);
  }
  return descriptor;
}

int __wrap_close(int descriptor) {
  const auto known = current != nullptr ? current->opened.find(descriptor) : std::map<int, std::string>::iterator();
  if (current != nullptr && known != current->opened.end()) {
    const bool again = !current->closed.insert(descriptor).second;
    if (current->watches("close")) {
      current->enter("close", quoted(known->second.c_str()));
    }
    if (again) {
      recording::add_ending(recording::trace().size() - 1, " again");
    }
  }
  return __real_close(descriptor);
}

int __wrap_access(const char *path, int mode) {
  if (outside(path)) {
    return __real_access(path, mode);
  }
  const auto how = [&] { return mode == F_OK ? "F_OK" : mode == R_OK ? "R_OK" : std::to_string(mode); };
  return perform(
      "access", [&] { return quoted(path) + ", " + how(); },
      [&] { return __real_access(current->real(path).c_str(), mode); });
}

int __wrap_unlink(const char *path) {
  if (outside(path)) {
    return __real_unlink(path);
  }
  return perform(
      "unlink", [&] { return quoted(path); }, [&] { return __real_unlink(current->real(path).c_str()); });
}

int __wrap_symlink(const char *target, const char *path) {
  if (outside(path)) {
    return __real_symlink(target, path);
  }
  return perform(
      "symlink", [&] { return quoted(target) + ", " + quoted(path); },
      [&] { return __real_symlink(target, current->real(path).c_str()); });
}

int __wrap_mkdir(const char *path, mode_t mode) {
  if (outside(path)) {
    return __real_mkdir(path, mode);
  }
  return perform(
      "mkdir", [&] { return quoted(path) + ", " + octal(mode); },
      [&] { return __real_mkdir(current->real(path).c_str(), mode); });
}

int __wrap_rename(const char *from, const char *to) {
  if (outside(from)) {
    return __real_rename(from, to);
  }
  return perform(
      "rename", [&] { return quoted(from) + ", " + quoted(to); },
      [&] { return __real_rename(current->real(from).c_str(), current->real(to).c_str()); });
}

void __wrap_sync() {
  if (current == nullptr) {
    __real_sync();
    return;
  }
  current->enter("sync", "");
}

int __wrap_mount(const char *source, const char *target, const char *type, unsigned long flags, const void *data) {
  if (current == nullptr) {
    return __real_mount(source, target, type, flags, data);
  }
  return perform(
      "mount",
      [&] {
        return quoted(source) + ", " + quoted(target) + ", " + quoted(type) + ", " + std::to_string(flags) + ", " +
               (data == nullptr ? "null" : "data");
      },
      [] { return 0; });
}

int __wrap_umount(const char *target) {
  return current == nullptr ? __real_umount(target)
                            : perform(
                                  "umount", [&] { return quoted(target); }, [] { return 0; });
}

int __wrap_sethostname(const char *name, size_t length) {
  if (current == nullptr) {
    return __real_sethostname(name, length);
  }
  const auto bytes = [&] { return '"' + recording::escaped(std::string(name, length)) + '"'; };
  return perform(
      "sethostname", [&] { return bytes() + ", " + std::to_string(length); }, [] { return 0; });
}

unsigned __wrap_sleep(unsigned seconds) {
  if (current == nullptr || !current->on_own_thread()) {
    return __real_sleep(seconds);
  }
  current->enter("sleep", std::to_string(seconds));
  current->now += static_cast<time_t>(seconds);
  if (current->on_sleep) {
    current->on_sleep();
  }
  return 0;
}

time_t __wrap_time(time_t *out) {
  if (current == nullptr) {
    return __real_time(out);
  }
  current->enter("time", "");
  if (out != nullptr) {
    *out = current->now;
  }
  return current->now;
}

int __wrap_setenv(const char *name, const char *value, int overwrite) {
  if (current == nullptr) {
    return __real_setenv(name, value, overwrite);
  }
  return perform(
      "setenv", [&] { return quoted(name) + ", " + quoted(value) + ", " + std::to_string(overwrite); },
      [&] { return __real_setenv(name, value, overwrite); });
}

void __wrap_tzset() {
  if (current != nullptr) {
    current->enter("tzset", "");
  }
  __real_tzset();
}

int __wrap_sigaction(int number, const struct sigaction *action, struct sigaction *previous) {
  if (current == nullptr || action == nullptr) {
    return __real_sigaction(number, action, previous);
  }
  return perform(
      "sigaction", [&] { return std::to_string(number) + ", " + hexadecimal(static_cast<unsigned>(action->sa_flags)); },
      [&] { return __real_sigaction(number, action, previous); });
}

}  // extern "C"
