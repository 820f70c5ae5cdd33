#include "tests/simulate/trouble.h"

#include <algorithm>
#include <cerrno>

#include "tests/simulate/events.h"
#include "tests/simulate/first_boot.h"
#include "tests/simulate/world.h"

namespace simulate {

namespace {

constexpr uint32_t kPercent = 30;
constexpr int kErrors[] = {EIO, ENOSPC, EACCES};

bool fails(const char *call) {
  World &w = world();
  if (w.now >= w.trouble_until || !w.dice.percent(kPercent)) {
    return false;
  }
  happened("%s fails", call);
  first_boot_call_failed();
  return true;
}

}  // namespace

void trouble_begin() {
  World &w = world();
  const int64_t lasts = w.dice.between(kMinute, w.dice.percent(80) ? 10 * kMinute : kHour);
  w.trouble_until = w.now + lasts;
  if (w.dice.percent(50)) {  // with something to do
    w.change_at = std::min(w.change_at, w.now + w.dice.between(1, kMinute));
  }
  w.counts.troubles++;
  happened("trouble for %lld seconds", static_cast<long long>(lasts));
}

bool platform_fails(const char *call) {
  power_may_go(call);
  const bool failed = fails(call);
  world().counts.failed_calls += failed ? 1 : 0;
  return failed;
}

int file_fails(const char *call) {
  if (!fails(call)) {
    return 0;
  }
  world().counts.failed_writes++;
  return kErrors[world().dice.below(sizeof kErrors / sizeof *kErrors)];
}

}  // namespace simulate
