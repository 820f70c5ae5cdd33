#include "tools/sandbox/world.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "platform/reference/reference.h"
#include "tools/sandbox/among.h"
#include "tools/sandbox/database_layer.h"
#include "tools/sandbox/durability.h"
#include "tools/sandbox/errno_names.h"
#include "tools/sandbox/open_files.h"
#include "tools/sandbox/unsynced.h"

#if defined(__SANITIZE_ADDRESS__)
#define SANDBOX_CHECKS_LEAKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SANDBOX_CHECKS_LEAKS 1
#endif
#endif
#if SANDBOX_CHECKS_LEAKS
#include <sanitizer/lsan_interface.h>
#endif

extern "C" {
[[noreturn]] void __real_exit(int status);
int __real_kill(pid_t pid, int signal);
}

namespace sandbox {
namespace {

constexpr const char *kFolders[] = {"data/etc", "data/etc/ssh", "etc", "tmp", "var/run", "run", "dev"};

std::string make_root(const std::string &folder) {
  for (const char *name : kFolders) {
    std::filesystem::create_directories(std::filesystem::path(folder) / name);
  }
  return std::filesystem::canonical(folder).string();
}

std::string absolute(const std::string &path) {
  return path.empty() ? path : std::filesystem::absolute(path).lexically_normal().string();
}

void use_proxy(const std::string &url, const std::string &except) {
  if (url.empty()) {
    return;
  }
  for (const char *name : {"no_proxy", "NO_PROXY", "all_proxy", "ALL_PROXY"}) {
    unsetenv(name);
  }
  setenv("http_proxy", url.c_str(), 1);
  setenv("no_proxy", except.c_str(), 1);
}

// Looks for leaks while everything is still in place: later, OpenSSL has torn down what the agent's living objects lean
// on, and that would be counted.
void check_leaks() {
#if SANDBOX_CHECKS_LEAKS
  __lsan_do_leak_check();
#endif
}

constexpr std::array kSystemCalls = {"mount",  "umount",   "sethostname", "kill",    "sigaction",
                                     "setenv", "unsetenv", "tzset",       "sysinfo", "sysconf"};

std::string class_of_system_call(const std::string &name) {
  return among(kSystemCalls, name) ? "system" : "file";
}

// The power may go later.
void hand_on_unsynced() {
  const NotTheAgent inside(world().trace);
  if (!world().options.unsynced.empty()) {
    keep_unsynced(world().options.unsynced);
  }
}

[[noreturn]] void die() {
  __real_kill(getpid(), SIGKILL);
  for (;;) {
    pause();
  }
}

// Only a read or write can be cut short.
int errno_of(int fault) {
  return fault == kShort ? 0 : fault;
}

std::string seconds_prefix() {
  return "[" + std::to_string(world().clock.elapsed() / kSecond) + "]";
}

}  // namespace

World &world() {
  // Never destroyed: wrapped calls still come while the process ends.
  static World *const kWorld = new World;
  return *kWorld;
}

int World::strike(const std::string &call_class, const std::string &call, const std::string &subject) {
  const bool on_behalf = call_class == "database" && !platform_call.empty();
  const std::string shown = on_behalf ? subject + " in " + platform_call : subject;
  sites.note(call_class, call, shown);
  const int fault = faults.due(call, subject, call_class);
  if (fault != 0) {
    sites.struck(call_class, call, shown);
  }
  if (fault == kFull || fault == kDead) {
    fault == kFull ? disc.fill() : disc.die();
    return disc.error_of(call_class, call, subject);
  }
  if (fault == kKill) {
    hand_on_unsynced();
    die();
  }
  if (fault <= kPower) {
    lose_power(static_cast<unsigned>(kPower - fault));
    die();
  }
  return fault != 0 ? fault : disc.error_of(call_class, call, subject);
}

int World::strike_inside(const std::string &call, const std::string &place) {
  return strike("inside", call, paths.shown(place));
}

void set_up(const Options &options) {
  World &w = world();
  w.options = options;
  w.paths.set_root(make_root(options.root));
  if (w.options.host_name_file.empty()) {
    w.options.host_name_file = w.paths.root() + "/etc/hostname";
  }
  w.media.insert(absolute(options.media), options.media_type, options.media_mount_failures);
  for (const std::string &fault : options.faults) {
    w.faults.add(fault);
  }
  if (!options.script.empty()) {
    w.script = Script::load(options.script);
  }
  if (!w.trace.open(options.trace)) {
    throw std::runtime_error("cannot write the trace " + options.trace);
  }
  if (!options.sites.empty() || !options.faults.empty()) {
    use_database_layer();
  }
  if (!options.unsynced.empty()) {
    take_unsynced(options.unsynced);
  }
  if (!w.sites.open(options.sites)) {
    throw std::runtime_error("cannot write the sites " + options.sites);
  }
  if (options.trace_times) {
    w.trace.set_prefix(seconds_prefix);
  }
  use_proxy(options.proxy, options.no_proxy);
  reference_set_root(w.paths.root().c_str());
  w.clock.start(options.clock, options.clock_factor, options.start_time);
  note_open_descriptors();
  w.active = true;
}

void run_due_events() {
  World &w = world();
  while (w.script.next() && *w.script.next() <= w.clock.elapsed()) {
    w.script.run_next(perform_event);
  }
}

bool sleep_for(int64_t nanoseconds) {
  World &w = world();
  const int64_t target = w.clock.elapsed() + nanoseconds;
  while (w.script.next() && *w.script.next() <= target) {
    if (!w.clock.sleep_until(*w.script.next())) {
      return false;
    }
    w.script.run_next(perform_event);
  }
  const int64_t stop = w.options.stop_after.value_or(-1) * kSecond;
  const bool stops = w.options.stop_after && target >= stop;
  const bool whole = w.clock.sleep_until(stops ? stop : target);
  if (stops && whole) {
    end_process(0, "stop");
  }
  return whole;
}

void end_process(int status, const std::string &last_line) {
  world().trace.line(last_line);
  for (const std::string &name : left_open()) {
    world().sites.remark("open", world().paths.shown(name));
  }
  world().sites.remark("end", std::to_string(status));
  world().active = false;
  check_leaks();
  world().closing = true;
  __real_exit(status);
}

SystemCall::SystemCall(std::string name_of_call, const std::string &subject, std::string shown_arguments)
    : name(std::move(name_of_call)),
      shown(std::move(shown_arguments)),
      agent(world().agent_calls()),
      fault(agent ? errno_of(world().strike(class_of_system_call(name), name, subject)) : 0) {
  if (world().active && !agent && class_of_system_call(name) == "file") {
    fault = errno_of(world().strike_inside(name, subject));
  }
}

int SystemCall::done(int result) const {
  const int error = errno;
  done(result >= 0 ? std::to_string(result) : std::to_string(result) + " " + errno_name(error));
  errno = error;
  return result;
}

void SystemCall::done(const std::string &result) const {
  if (agent) {
    world().trace.line("system " + name + "(" + shown + ") = " + result);
  }
}

}  // namespace sandbox
