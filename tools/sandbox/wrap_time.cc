// The wrapped calls of time and sleep, on the sandbox's clock. Only the agent's sleeps are traced and carry the script;
// what the platform sleeps is real, as it waits for other processes.
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

#include "tools/sandbox/world.h"

extern "C" {
time_t __real_time(time_t *out);
int __real_clock_gettime(clockid_t id, timespec *out);
int __real_gettimeofday(timeval *out, void *zone);
unsigned __real_sleep(unsigned seconds);
int __real_nanosleep(const timespec *request, timespec *rest);
int __real_usleep(useconds_t microseconds);
}

namespace {

using sandbox::kSecond;
using sandbox::world;

// The nanoseconds that were not slept.
int64_t agent_sleep(int64_t nanoseconds, const std::string &shown) {
  sandbox::World &w = world();
  w.trace.line("sleep " + shown);
  w.sites.remark("sleep", shown);
  const int64_t target = w.clock.elapsed() + nanoseconds;
  if (sandbox::sleep_for(nanoseconds)) {
    return 0;
  }
  const int64_t rest = target - w.clock.elapsed();
  return rest > 0 ? rest : 0;
}

std::string fraction(int64_t nanoseconds) {
  char out[40];
  std::snprintf(out, sizeof out, "%.6f", static_cast<double>(nanoseconds) / static_cast<double>(kSecond));
  return out;
}

}  // namespace

extern "C" {

time_t __wrap_time(time_t *out) {
  if (!world().active) {
    return __real_time(out);
  }
  const time_t now = world().clock.time_of_day().tv_sec;
  if (out != nullptr) {
    *out = now;
  }
  return now;
}

int __wrap_clock_gettime(clockid_t id, timespec *out) {
  if (!world().active || id != CLOCK_REALTIME) {
    return __real_clock_gettime(id, out);
  }
  *out = world().clock.time_of_day();
  return 0;
}

int __wrap_gettimeofday(timeval *out, void *zone) {
  if (!world().active) {
    return __real_gettimeofday(out, zone);
  }
  const timespec now = world().clock.time_of_day();
  out->tv_sec = now.tv_sec;
  out->tv_usec = now.tv_nsec / 1000;
  return 0;
}

unsigned __wrap_sleep(unsigned seconds) {
  if (!world().agent_calls()) {
    return __real_sleep(seconds);
  }
  const int64_t rest = agent_sleep(static_cast<int64_t>(seconds) * kSecond, std::to_string(seconds));
  return static_cast<unsigned>((rest + kSecond / 2) / kSecond);
}

int __wrap_nanosleep(const timespec *request, timespec *rest) {
  if (!world().agent_calls()) {
    return __real_nanosleep(request, rest);
  }
  const int64_t whole = static_cast<int64_t>(request->tv_sec) * kSecond + request->tv_nsec;
  const int64_t left = agent_sleep(whole, fraction(whole));
  if (left == 0) {
    return 0;
  }
  if (rest != nullptr) {
    rest->tv_sec = static_cast<time_t>(left / kSecond);
    rest->tv_nsec = static_cast<long>(left % kSecond);
  }
  errno = EINTR;
  return -1;
}

int __wrap_usleep(useconds_t microseconds) {
  if (!world().agent_calls()) {
    return __real_usleep(microseconds);
  }
  const timespec request = {static_cast<time_t>(microseconds / 1000000),
                            static_cast<long>(microseconds % 1000000) * 1000};
  return __wrap_nanosleep(&request, nullptr);
}

}  // extern "C"
