#include "tests/simulate/memory_watch.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>

#include "protocol/wire/http_client.h"
#include "tests/simulate/allocations.h"
#include "tests/simulate/expectation.h"
#include "tests/simulate/sent.h"
#include "tests/simulate/view.h"

namespace simulate {

namespace {

// OpenSSL keeps room for the texts of the last 16 errors, 81 bytes each, and an incarnation of more digits is a longer
// text in a few places.
constexpr size_t kLifeSlack = 2048;

// What is cached when it is first needed is there after this many passes.
constexpr uint64_t kFirstPasses = 10;

// OpenSSL loads some 30 kB when it first opens a container, and again when it first opens protected settings. Worlds
// that nobody can read have neither.
constexpr size_t kSecretSlack = size_t{64} * 1024;

struct Resting {
  size_t bytes;  // 0 before any
  int known;     // names that the registry has met, which it never forgets
  bool tenant;   // the tenant's container was read
};

struct Watched {
  uint64_t passes;
  int32_t incarnation, effective, held, etag;
  uint64_t certificates, dumps;
  int alike;     // passes in a row that changed nothing
  size_t bytes;  // after the first that counts of these
  Resting resting;
  std::deque<size_t> events;
  size_t event_bytes;
  uint64_t events_gone;
};

Watched gsWatched;

int known_names() {
  const Expectation &should = expectation();
  return static_cast<int>(std::count_if(std::begin(should.plugins), std::end(should.plugins),
                                        [](const Expected &each) { return each.known; }));
}

// The type of the status blob is kept from one pass to the next, whatever the service said.
size_t type_bytes() {
  const char *type = kelvane::captured_blob_type();
  return type != nullptr ? std::strlen(type) + 1 : 0;
}

void forget_posted_events(Watched *watched) {
  for (; watched->events_gone < events_posted() && !watched->events.empty(); watched->events_gone++) {
    watched->event_bytes -= watched->events.front();
    watched->events.pop_front();
  }
}

void check_alike(Watched *watched, size_t bytes) {
  if (watched->alike == 2) {
    watched->bytes = bytes;
    allocations_mark();
  } else if (bytes > watched->bytes) {
    broken("memory grows: %zu bytes more after %d passes that changed nothing; blocks more: %s", bytes - watched->bytes,
           watched->alike - 2, allocations_since_mark().c_str());
  }
}

void check_resting(Watched *watched, size_t bytes) {
  Resting *resting = &watched->resting;
  const int known = known_names();
  const bool tenant = view().tenant;
  if (resting->bytes == 0 || resting->known != known || resting->tenant != tenant) {
    *resting = {bytes, known, tenant};
  } else if (bytes > resting->bytes + (world().readable_percent > 0 ? kSecretSlack : kLifeSlack)) {
    broken("memory grew: %zu bytes when nothing is wanted, %zu the first time in this life", bytes, resting->bytes);
  }
  const uint64_t rise = bytes - std::min(bytes, resting->bytes);
  world().counts.rise = std::max(world().counts.rise, rise);
}

}  // namespace

void memory_watch_event(size_t bytes) {
  gsWatched.events.push_back(bytes);
  gsWatched.event_bytes += bytes;
}

void memory_watch_pass() {
  Watched *watched = &gsWatched;
  const View &told = view();
  forget_posted_events(watched);
  const bool changed = told.incarnation != watched->incarnation || told.effective.incarnation != watched->effective ||
                       told.held.incarnation != watched->held || told.held_etag != watched->etag ||
                       told.certificates != watched->certificates || world().counts.dumps != watched->dumps ||
                       expectation_commands() != 0;
  watched->incarnation = told.incarnation;
  watched->effective = told.effective.incarnation;
  watched->held = told.held.incarnation;
  watched->etag = told.held_etag;
  watched->certificates = told.certificates;
  watched->dumps = world().counts.dumps;
  watched->alike = changed ? 0 : watched->alike + 1;
  if (watched->passes++ < kFirstPasses || watched->alike < 2) {
    watched->alike = std::min(watched->alike, 1);
    return;
  }
  world().counts.memory_checks++;
  const size_t bytes = allocations_bytes() - watched->event_bytes - type_bytes();
  check_alike(watched, bytes);
  if (told.held.count == 0) {
    check_resting(watched, bytes);
  }
}

}  // namespace simulate
