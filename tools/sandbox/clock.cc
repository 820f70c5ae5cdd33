#include "tools/sandbox/clock.h"

// The machine's own calls, past the wrapped ones.
extern "C" {
int __real_clock_gettime(clockid_t id, timespec *out);
int __real_nanosleep(const timespec *request, timespec *rest);
}

namespace sandbox {
namespace {

int64_t read_clock(clockid_t id) {
  timespec now = {};
  __real_clock_gettime(id, &now);
  return static_cast<int64_t>(now.tv_sec) * kSecond + now.tv_nsec;
}

timespec to_timespec(int64_t nanoseconds) {
  timespec value = {};
  value.tv_sec = static_cast<time_t>(nanoseconds / kSecond);
  value.tv_nsec = static_cast<long>(nanoseconds % kSecond);
  return value;
}

}  // namespace

void Clock::start(ClockKind kind, double factor, std::optional<int64_t> start_time) {
  kind_ = kind;
  factor_ = kind == ClockKind::kScaled ? factor : 1;
  machine_start_ = read_clock(CLOCK_MONOTONIC);
  epoch_start_ = start_time ? *start_time * kSecond : read_clock(CLOCK_REALTIME);
  virtual_elapsed_ = 0;
}

int64_t Clock::elapsed() const {
  if (kind_ == ClockKind::kVirtual) {
    return virtual_elapsed_;
  }
  const int64_t machine = read_clock(CLOCK_MONOTONIC) - machine_start_;
  return kind_ == ClockKind::kReal ? machine : static_cast<int64_t>(static_cast<double>(machine) * factor_);
}

timespec Clock::time_of_day() const {
  return to_timespec(epoch_start_ + elapsed());
}

bool Clock::sleep_until(int64_t target) {
  if (kind_ == ClockKind::kVirtual) {
    virtual_elapsed_ = target > virtual_elapsed_ ? target : virtual_elapsed_;
    return true;
  }
  const int64_t missing = target - elapsed();
  if (missing <= 0) {
    return true;
  }
  const timespec request = to_timespec(static_cast<int64_t>(static_cast<double>(missing) / factor_) + 1);
  return __real_nanosleep(&request, nullptr) == 0;
}

}  // namespace sandbox
