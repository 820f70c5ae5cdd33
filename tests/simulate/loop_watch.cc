#include "tests/simulate/loop_watch.h"

#include "tests/simulate/world.h"

namespace simulate {

namespace {

// Both count seconds of the wall clock, which may be set, from the turn in which it was done last; before that, from
// the begin of the loop.
struct Timer {
  int64_t interval;
  int64_t last;
  bool due;  // in this turn, and not done
};

struct Loop {
  Timer pass = {25, 0, false};
  Timer post = {60, 0, false};
  int64_t now = 0;        // of this turn
  bool passed = false;    // there was one already
  uint64_t requests = 0;  // before this turn
};

Loop gsLoop;

void look(Timer *timer) {
  timer->due = gsLoop.now - timer->last >= timer->interval;
}

// A restart that was asked for is served first thing in the turn.
void check_restart() {
  if (world().restart_due) {
    broken("a restart was asked for and does not come");
  }
}

void done(Timer *timer, const char *what) {
  check_restart();
  if (!timer->due) {
    broken("%s %lld seconds after the last", what, static_cast<long long>(gsLoop.now - timer->last));
  }
  timer->due = false;
  timer->last = gsLoop.now;
}

}  // namespace

// Each start sends requests; the loop begins behind the last of them.
void loop_watch_sleeps() {
  Loop *loop = &gsLoop;
  check_restart();
  if (loop->pass.due || loop->post.due) {
    broken("%s is due and does not come", loop->pass.due ? "a pass" : "a look at the events");
  }
  if (!loop->passed && loop->requests != world().counts.requests) {
    loop->pass.last = loop->post.last = wall_clock();
  }
  loop->requests = world().counts.requests;
}

void loop_watch_wakes() {
  gsLoop.now = wall_clock();
  world().restart_due = world().restart_asked;
  look(&gsLoop.pass);
  look(&gsLoop.post);
  // Nobody looks at the queue under the metadata service; that is meant.
  gsLoop.post.due = gsLoop.post.due && !world().metadata;
}

void loop_watch_posted(bool more) {
  done(&gsLoop.post, "a look at the events");
  gsLoop.post.interval = more ? 15 : 60;
}

void loop_watch_pass() {
  done(&gsLoop.pass, "a pass");
  gsLoop.passed = true;
}

}  // namespace simulate
