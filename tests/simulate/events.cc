#include "tests/simulate/events.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "platform/platform.h"
#include "tests/simulate/disk.h"
#include "tests/simulate/first_boot.h"
#include "tests/simulate/trouble.h"
#include "tests/simulate/wanted.h"
#include "tests/simulate/world.h"

namespace simulate {

namespace {

constexpr int64_t kNever = INT64_MAX;

// No pass for longer than this, clock set back or not, and the loop hangs: all of a pass's requests with all their
// attempts and pauses take less than an hour. A start is no excuse, nor are several, one after the other.
constexpr int64_t kLongestSilence = 2 * kHour;

// Real seconds that a simulated day may take: an agent that loops without the clock moving never ends by itself.
constexpr unsigned kLongestDay = 900;

constexpr uint32_t kRestart = 99;  // of the test commands

int64_t gsDayOver = 0;

void allow_a_day() {
  alarm(kLongestDay);
  gsDayOver = world().now + kDay;
}

int64_t after(int64_t mean) {
  return mean > 0 ? world().now + world().dice.gap(mean) : kNever;
}

void change(World &w) {
  // At times two changes in the same pass.
  w.change_at = w.dice.percent(10) ? w.now + w.dice.between(1, 40) : after(w.mean_change);
  cloud_publish();
}

void jump(World &w) {
  w.jump_at = after(w.mean_jump);
  const int64_t by = w.dice.percent(50) ? kHour : -kHour;
  w.offset += by;
  if (by < 0) {
    w.back_since_pass -= by;
  }
  w.counts.jumps++;
  happened("the clock is set %s by an hour", by > 0 ? "forward" : "back");
}

// The agent keeps one command only: a later one takes the place of one that it has not served.
void test_command(uint32_t command) {
  world().restart_asked = command == kRestart;
  world().zone.test_command = command;
  std::raise(SIGUSR2);
}

// The first of a life writes a key out, for which OpenSSL loads what it then keeps: before the memory is watched.
void dump(World &w) {
  static bool first = true;
  w.command_at = after(kDay);
  const uint32_t command = first ? 3 : 1 + w.dice.below(6);
  first = false;
  happened("test command %u", command);
  w.counts.dumps++;
  test_command(command);
}

// Served at the loop's next turn.
void restart(World &w) {
  w.restart_at = after(w.mean_restart);
  happened("restart asked for");
  test_command(kRestart);
}

// Now, or when one of the next files is written.
void cut(World &w) {
  w.cut_at = after(w.mean_cut);
  if (w.dice.percent(50)) {
    w.cut_at_call = 1 + static_cast<int32_t>(w.dice.below(12));
    return;
  }
  power_cut();
}

void trouble(World &w) {
  w.trouble_at = after(w.mean_trouble);
  trouble_begin();
}

struct Kind {
  int64_t World::*at;
  void (*happen)(World &w);
};

constexpr Kind kKinds[] = {
    {&World::change_at, change},   {&World::jump_at, jump}, {&World::command_at, dump},
    {&World::restart_at, restart}, {&World::cut_at, cut},   {&World::trouble_at, trouble},
};

void find_next(World &w) {
  w.next_event = w.until;
  for (const Kind &kind : kKinds) {
    w.next_event = std::min(w.next_event, w.*kind.at);
  }
}

void watch_the_loop(const World &w) {
  const int64_t silence = w.now - w.last_pass;
  if (silence > kLongestSilence + w.back_since_pass) {
    broken("no extension pass for %lld seconds", static_cast<long long>(silence));
  }
}

void happen_now(World &w) {
  watch_the_loop(w);
  if (w.now >= w.until) {
    end_life(End::kOver);
  }
  for (const Kind &kind : kKinds) {
    if (w.now >= w.*kind.at) {
      kind.happen(w);
    }
  }
  find_next(w);
}

}  // namespace

void events_begin() {
  World &w = world();
  w.change_at = after(w.mean_change);
  w.jump_at = after(w.mean_jump);
  w.command_at = after(kDay);
  w.restart_at = after(w.mean_restart);
  w.cut_at = after(w.mean_cut);
  w.trouble_at = after(w.mean_trouble);
  find_next(w);
}

// One start in ten falls into trouble; of the first boots, six in ten are to lose their power at one of the next
// hundred calls, which four in ten come to.
void events_begin_life() {
  World &w = world();
  allow_a_day();
  if (w.dice.percent(10)) {
    trouble_begin();
  }
  if (first_boot_ahead() && w.dice.percent(60)) {
    w.cut_at_call = 1 + static_cast<int32_t>(w.dice.below(100));
  }
  w.command_at = w.now + 5 * kMinute;
  find_next(w);
}

void pass_time(int64_t seconds) {
  World &w = world();
  const int64_t end = w.now + seconds;
  while (w.next_event <= end) {
    w.now = std::max(w.now, w.next_event);
    happen_now(w);
  }
  w.now = end;
  if (w.now >= gsDayOver) {
    allow_a_day();
  }
}

void power_may_go(const char *call) {
  World &w = world();
  if (w.cut_at_call == 0 || --w.cut_at_call > 0) {
    return;
  }
  happened("the power goes at %s", call);
  power_cut();
}

void power_cut() {
  World &w = world();
  w.cut_at_call = 0;
  w.counts.cuts++;
  happened("power cut");
  disk_power_cut();
  std::snprintf(w.kernel_host, sizeof w.kernel_host, "%s", w.written.settings.host_name);
  find_next(w);
  end_life(End::kPowerCut);
}

}  // namespace simulate
