// The wrapped calls that change the machine rather than files: mounts, the host name, signals, the environment, the end
// of the process. No signal ever leaves the sandbox, no mount ever happens.
#include <sched.h>
#include <sys/mount.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <utility>

#include "platform/platform.h"
#include "tools/sandbox/text_forms.h"
#include "tools/sandbox/world.h"

extern "C" {
int __real_kill(pid_t pid, int signal);
int __real_sigaction(int signal, const struct sigaction *action, struct sigaction *previous);
int __real_setenv(const char *name, const char *value, int overwrite);
int __real_unsetenv(const char *name);
void __real_tzset(void);
int __real_gethostname(char *name, size_t size);
int __real_sethostname(const char *name, size_t length);
int __real_mount(const char *device, const char *folder, const char *type, unsigned long flags, const void *data);
int __real_umount2(const char *folder, int flags);
int __real_sysinfo(struct sysinfo *out);
int __real_uname(utsname *out);
long __real_sysconf(int name);
[[noreturn]] void __real_exit(int status);
}

namespace {

using sandbox::quoted;
using sandbox::SystemCall;
using sandbox::text_of;
using sandbox::world;

std::string signal_name(int signal) {
  constexpr std::pair<int, const char *> kNames[] = {{SIGHUP, "SIGHUP"},   {SIGKILL, "SIGKILL"}, {SIGUSR1, "SIGUSR1"},
                                                     {SIGUSR2, "SIGUSR2"}, {SIGALRM, "SIGALRM"}, {SIGTERM, "SIGTERM"},
                                                     {SIGCHLD, "SIGCHLD"}, {SIGPIPE, "SIGPIPE"}, {SIGINT, "SIGINT"}};
  for (const auto &[number, name] : kNames) {
    if (number == signal) {
      return name;
    }
  }
  return std::to_string(signal);
}

// 0, or -1 with the error in errno and the trace.
int answer(const SystemCall &call, int error) {
  errno = error;
  return call.done(error == 0 ? 0 : -1);
}

std::string mount_flags(unsigned long flags) {
  return flags == MS_RDONLY ? "MS_RDONLY" : std::to_string(flags);
}

int unmount(const char *folder) {
  const SystemCall call("umount", text_of(folder), quoted(folder));
  return answer(call, call.fault != 0 ? call.fault : world().media.unmount(text_of(folder), world().paths));
}

int write_host_name(const std::string &name) {
  std::ofstream file(world().options.host_name_file, std::ios::trunc);
  file << name << "\n";
  file.close();
  return file ? 0 : EIO;
}

}  // namespace

extern "C" {

int __wrap_mount(const char *device, const char *folder, const char *type, unsigned long flags, const void *data) {
  if (!world().active) {
    return __real_mount(device, folder, type, flags, data);
  }
  const SystemCall call("mount", text_of(type),
                        quoted(device) + ", " + quoted(folder) + ", " + quoted(type) + ", " + mount_flags(flags) +
                            (data != nullptr ? ", data" : ""));
  if (call.fault != 0) {
    return answer(call, call.fault);
  }
  return answer(call, world().media.mount(text_of(device), text_of(folder), text_of(type), world().paths));
}

int __wrap_umount2(const char *folder, int flags) {
  return world().active ? unmount(folder) : __real_umount2(folder, flags);
}

int __wrap_umount(const char *folder) {
  return __wrap_umount2(folder, 0);
}

int __wrap_sethostname(const char *name, size_t length) {
  if (!world().active) {
    return __real_sethostname(name, length);
  }
  const std::string given(name, strnlen(name, length));
  const SystemCall call("sethostname", given, quoted(given.c_str()) + ", " + std::to_string(length));
  return answer(call, call.fault != 0 ? call.fault : write_host_name(given));
}

int __wrap_gethostname(char *name, size_t size) {
  std::ifstream file(world().options.host_name_file);
  std::string line;
  if (!world().active || !std::getline(file, line)) {
    return __real_gethostname(name, size);
  }
  if (line.size() >= size) {
    errno = ENAMETOOLONG;
    return -1;
  }
  std::memcpy(name, line.c_str(), line.size() + 1);
  return 0;
}

// Only the process itself is ever signalled.
int __wrap_kill(pid_t pid, int signal) {
  if (!world().active) {
    return __real_kill(pid, signal);
  }
  const std::string whom = pid == getpid() ? "self" : std::to_string(pid);
  const SystemCall call("kill", whom, whom + ", " + signal_name(signal));
  if (call.fault != 0) {
    return answer(call, call.fault);
  }
  return pid == getpid() ? call.done(__real_kill(pid, signal)) : answer(call, 0);
}

int __wrap_sigaction(int signal, const struct sigaction *action, struct sigaction *previous) {
  if (action == nullptr) {
    return __real_sigaction(signal, action, previous);
  }
  const std::string flags = action->sa_flags == SA_RESTART ? "SA_RESTART" : std::to_string(action->sa_flags);
  const SystemCall call("sigaction", signal_name(signal), signal_name(signal) + ", " + flags);
  if (call.fault != 0) {
    return answer(call, call.fault);
  }
  return call.done(__real_sigaction(signal, action, previous));
}

int __wrap_setenv(const char *name, const char *value, int overwrite) {
  const SystemCall call("setenv", text_of(name),
                        quoted(name) + ", " + quoted(value) + ", " + std::to_string(overwrite));
  if (call.fault != 0) {
    return answer(call, call.fault);
  }
  return call.done(__real_setenv(name, value, overwrite));
}

int __wrap_unsetenv(const char *name) {
  const SystemCall call("unsetenv", text_of(name), quoted(name));
  return call.done(__real_unsetenv(name));
}

void __wrap_tzset(void) {
  const SystemCall call("tzset", "", "");
  __real_tzset();
  call.done("0");
}

// The system is the one that the appliance's debug record tells of already, if it does.
int __wrap_uname(utsname *out) {
  const int result = __real_uname(out);
  const std::string told = nCfg_debug_zone != nullptr ? nCfg_debug_zone->os_version : "";
  const size_t blank = told.find(' ');
  if (result == 0 && blank != std::string::npos) {
    std::snprintf(out->sysname, sizeof out->sysname, "%s", told.substr(0, blank).c_str());
    std::snprintf(out->release, sizeof out->release, "%s", told.c_str() + blank + 1);
  }
  return result;
}

int __wrap_sysinfo(struct sysinfo *out) {
  if (!world().agent_calls()) {
    return __real_sysinfo(out);
  }
  const SystemCall call("sysinfo", "", "");
  if (call.fault != 0) {
    return answer(call, call.fault);
  }
  *out = {};
  out->totalram = static_cast<unsigned long>(world().options.memory_mib) << 20;
  out->mem_unit = 1;
  return answer(call, 0);
}

long __wrap_sysconf(int name) {
  if (!world().agent_calls() || (name != _SC_NPROCESSORS_ONLN && name != _SC_NPROCESSORS_CONF)) {
    return __real_sysconf(name);
  }
  const SystemCall call("sysconf", "", name == _SC_NPROCESSORS_ONLN ? "_SC_NPROCESSORS_ONLN" : "_SC_NPROCESSORS_CONF");
  const auto processors = static_cast<int>(call.fault != 0 ? -1 : world().options.processors);
  errno = call.fault;
  return call.done(processors);
}

[[noreturn]] void __wrap_exit(int status) {
  if (!world().active) {
    __real_exit(status);
  }
  sandbox::end_process(status, "exit " + std::to_string(status & 0xff));
}

}  // extern "C"
