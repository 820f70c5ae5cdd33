#include "tests/simulate/event_hub.h"

#include <cstring>

#include "tests/simulate/world.h"

namespace simulate {

namespace {

struct Done {
  int asked, succeeded, failed, told_success, told_failure;
};

Done gsDone;

// A command has asked for the record: what is written next is its.
bool writing() {
  return gsDone.asked > gsDone.succeeded + gsDone.failed;
}

}  // namespace

void event_hub_begin_pass() {
  gsDone = {};
}

void event_hub_asked() {
  gsDone.asked++;
}

bool event_hub_refused() {
  World &w = world();
  if (!writing() || !w.dice.percent(10)) {
    return false;
  }
  w.counts.failed_calls++;
  happened("the event hub is refused");
  return true;
}

bool event_hub_written(bool succeeded) {
  const bool hub = writing();
  if (hub) {
    (succeeded ? gsDone.succeeded : gsDone.failed)++;
  }
  return hub;
}

void event_hub_told(uint32_t event_id, int32_t result, const char *text) {
  constexpr uint32_t kEvent = 11008801;
  const bool success = result == 1 && std::strcmp(text, "Config eventhub success.") == 0;
  const bool failure = result == 2 && std::strcmp(text, "Config eventhub fails.") == 0;
  if (event_id != kEvent || (!success && !failure)) {
    broken("the system event log is told %u, %d: %s", event_id, result, text);
  }
  (success ? gsDone.told_success : gsDone.told_failure)++;
}

void event_hub_check(int commands) {
  const Done &done = gsDone;
  if (done.asked != commands || done.succeeded + done.failed != commands || done.told_success != done.succeeded ||
      done.told_failure != done.failed) {
    broken(
        "%d commands for the event hub: its record was asked for %d times, written %d times and not written %d times, "
        "which is told as %d and %d",
        commands, done.asked, done.succeeded, done.failed, done.told_success, done.told_failure);
  }
}

}  // namespace simulate
