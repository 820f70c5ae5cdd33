// The agent's clock: the machine's own, the machine's but N times as fast, or one that only its sleeps move. Everything
// is counted in nanoseconds since the start of the agent. A sleep on the virtual clock never blocks.
#ifndef KELVANE_TOOLS_SANDBOX_CLOCK_H
#define KELVANE_TOOLS_SANDBOX_CLOCK_H

#include <cstdint>
#include <ctime>
#include <optional>

#include "tools/sandbox/options.h"

namespace sandbox {

inline constexpr int64_t kSecond = 1000000000;

class Clock {
 public:
  // start_time: seconds since 1970 at the start; none: the machine's time.
  void start(ClockKind kind, double factor, std::optional<int64_t> start_time);

  // Nanoseconds of agent time since the start.
  int64_t elapsed() const;

  // The agent's time of day.
  timespec time_of_day() const;

  // Sleeps until elapsed() is target. False when a signal ended the sleep early.
  bool sleep_until(int64_t target);

 private:
  ClockKind kind_ = ClockKind::kReal;
  double factor_ = 1;
  int64_t machine_start_ = 0;
  int64_t epoch_start_ = 0;
  int64_t virtual_elapsed_ = 0;
};

}  // namespace sandbox

#endif
