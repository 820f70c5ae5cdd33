#include "tests/simulate/event_watch.h"

#include <algorithm>
#include <iterator>

#include "tests/simulate/expectation.h"
#include "tests/simulate/same.h"
#include "tests/simulate/sent.h"
#include "tests/simulate/upload.h"
#include "tests/simulate/view.h"

namespace simulate {

namespace {

// Forty commands of a whole new list, a few lists behind each other, a health check a pass: while no upload goes
// through for half an hour.
constexpr uint64_t kLongestQueue = 600;

constexpr int32_t kHeartbeat = 1;
constexpr int32_t kHealthCheck = 10;  // the greatest of those that are used

struct Life {
  uint64_t events;
  uint64_t posted;               // before this look
  int64_t heartbeat;             // when the last one was queued, on the wall clock; 0 before any
  bool due;                      // a heartbeat, in this look
  int queued[kHealthCheck + 1];  // in this pass
  int32_t type_matches;          // what the pass told of the status blob's type
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

// Once in a pass in which the service named a type, whether it can be put or not.
void check_type() {
  const BlobType type = upload_type();
  const BlobType announced = view().held.page_blob ? BlobType::kPage : BlobType::kBlock;
  same_number("events of a pass", "of the status blob's type", gsLife.queued[kHealthCheck], type != BlobType::kNone);
  if (type != BlobType::kNone) {
    same_number("events of a pass", "that the type matches", gsLife.type_matches, type == announced);
  }
}

}  // namespace

void event_watch_begin_life() {
  gsLife = {};
}

void event_watch_begin_pass() {
  std::fill(std::begin(gsLife.queued), std::end(gsLife.queued), 0);
}

void event_watch_end_pass() {
  check_queue();
  for (int32_t operation = 0; operation < kHealthCheck; operation++) {
    same_number("events of a pass", "of a kind of command", gsLife.queued[operation], expectation_events(operation));
  }
  check_type();
}

void event_watch_queued(int32_t operation, int32_t success) {
  if (operation < 0 || operation > kHealthCheck) {
    broken("an event of operation %d", operation);
  }
  gsLife.events++;
  if (operation == kHeartbeat) {
    if (!gsLife.due) {
      broken("a heartbeat that is not due, after %lld", static_cast<long long>(gsLife.heartbeat));
    }
    gsLife.due = false;
    gsLife.heartbeat = wall_clock();
    world().counts.heartbeats++;
    return;
  }
  if (operation == kHealthCheck) {
    gsLife.type_matches = success;
  } else {
    same_number("event", "success", success, 1);
  }
  gsLife.queued[operation]++;
}

// A heartbeat comes with the first look and then with the first after twelve hours of the clock.
void event_watch_post() {
  gsLife.due = wall_clock() - gsLife.heartbeat > 12 * kHour;
  gsLife.posted = events_posted();
}

// One request of three events at the most, whatever became of the requests before it: an event is tried once.
void event_watch_posted(int32_t more) {
  constexpr uint64_t kMost = 3;
  if (gsLife.due) {
    broken("no heartbeat since %lld", static_cast<long long>(gsLife.heartbeat));
  }
  const uint64_t waited = gsLife.events - gsLife.posted;
  const uint64_t should = std::min(waited, kMost);
  const uint64_t posted = events_posted() - gsLife.posted;
  if (posted != should || more != (waited > should ? 1 : 0)) {
    broken("of %llu waiting events %llu are posted and %d is answered", static_cast<unsigned long long>(waited),
           static_cast<unsigned long long>(posted), more);
  }
  world().counts.posted += posted;
}

}  // namespace simulate
