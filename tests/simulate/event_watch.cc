#include "tests/simulate/event_watch.h"

#include <algorithm>

#include "tests/simulate/sent.h"
#include "tests/simulate/world.h"

namespace simulate {

namespace {

// Forty commands of a whole new list, a few lists behind each other, a health check a pass: while no upload goes
// through for half an hour.
constexpr uint64_t kLongestQueue = 600;

struct Life {
  uint64_t events;
  int64_t began;      // on the virtual clock
  int64_t heartbeat;  // when the last one was queued, on the wall clock; 0 before any
};

Life gsLife;

void check_queue() {
  // Nobody drains the queue under the metadata service; that is meant.
  if (world().metadata) {
    return;
  }
  const uint64_t queued = gsLife.events - std::min(gsLife.events, events_posted());
  world().counts.longest_queue = std::max(world().counts.longest_queue, queued);
  if (queued > kLongestQueue) {
    broken("%llu events wait", static_cast<unsigned long long>(queued));
  }
}

// One at the loop's first look and then one in twelve hours; the slack is for a clock that jumps and a slow pass.
void check_heartbeat() {
  constexpr int64_t kInterval = 12 * kHour;
  constexpr int64_t kSlack = 2 * kHour;
  const bool missing = gsLife.heartbeat == 0 ? world().now - gsLife.began > kSlack
                                             : wall_clock() - gsLife.heartbeat > kInterval + kSlack;
  if (missing && !world().metadata) {
    broken("no heartbeat since %lld", static_cast<long long>(gsLife.heartbeat));
  }
}

}  // namespace

void event_watch_begin_life() {
  gsLife = {};
  gsLife.began = world().now;
}

void event_watch_pass() {
  check_queue();
  check_heartbeat();
}

void event_watch_queued(int32_t operation) {
  constexpr int32_t kHeartbeat = 1;
  gsLife.events++;
  if (operation != kHeartbeat) {
    return;
  }
  if (world().metadata || (gsLife.heartbeat != 0 && wall_clock() - gsLife.heartbeat <= 12 * kHour)) {
    broken("a heartbeat that is not due, after %lld", static_cast<long long>(gsLife.heartbeat));
  }
  gsLife.heartbeat = wall_clock();
}

// One request of three events at the most, whatever became of the requests before it: an event is tried once.
void event_watch_posted(uint64_t before, int32_t more) {
  constexpr uint64_t kMost = 3;
  const uint64_t waited = gsLife.events - before;
  const uint64_t should = std::min(waited, kMost);
  if (events_posted() - before != should || more != (waited > should ? 1 : 0)) {
    broken("of %llu waiting events %llu are posted and %d is answered", static_cast<unsigned long long>(waited),
           static_cast<unsigned long long>(events_posted() - before), more);
  }
}

}  // namespace simulate
