#include "core/main_loop.h"

#include <time.h>
#include <unistd.h>

#include "core/base/log.h"
#include "core/signals.h"
#include "core/test_console.h"
#include "extensions/guest_agent.h"

namespace kelvane {

namespace {

// In seconds of the wall clock. When it is set back the timers wait for as much longer, when it is set forward they
// fall due at once; there is no correction for either.
constexpr time_t kEventInterval = 60;
constexpr time_t kEventIntervalWhileQueued = 15;
constexpr time_t kExtensionInterval = 25;

struct LoopTimers {
  time_t last_upload;
  time_t last_pass;
  time_t event_interval;
};

void serve_test_command(const Protocol *protocol) {
  uint32_t command = 0;
  if (test_command_take(&command)) {
    test_console_run(command, protocol);
  }
}

void upload_events(const Protocol *protocol, time_t now, LoopTimers *timers) {
  LOG_ABOVE(6, "[kelvane]: Running Event Handler\n");
  const bool queued = protocol->report_event(protocol, 0, nullptr) > 0;
  timers->last_upload = now;
  timers->event_interval = queued ? kEventIntervalWhileQueued : kEventInterval;
}

void turn(const Protocol *protocol, LoopTimers *timers) {
  sleep(1);
  serve_test_command(protocol);
  const time_t now = time(nullptr);
  if (now - timers->last_upload >= timers->event_interval) {
    upload_events(protocol, now, timers);
  }
  GuestAgent_HandlerMonitor(protocol);
  if (now - timers->last_pass >= kExtensionInterval) {
    timers->last_pass = now;
    GuestAgent_HandlerExtension(protocol);
  }
}

}  // namespace

void main_loop_run(const Protocol *protocol) {
  LoopTimers timers = {};
  timers.last_upload = time(nullptr);
  timers.last_pass = time(nullptr);
  timers.event_interval = kEventInterval;
  for (;;) {
    turn(protocol, &timers);
  }
}

}  // namespace kelvane
