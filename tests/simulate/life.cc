#include "tests/simulate/life.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "tests/simulate/events.h"
#include "tests/simulate/invariants.h"
#include "tests/simulate/wanted.h"
#include "tests/simulate/world.h"

namespace simulate {

namespace {

// The address of the wire server is known from before, comes a while after the start, or never.
void draw_lease(World &w) {
  const bool never = w.dice.percent(w.metadata_percent);
  const int64_t late = w.dice.percent(20) ? w.dice.between(1, 60) : 0;
  w.endpoint_at = never ? INT64_MAX : w.now + late;
  w.configuration.port.AzureEndpoint = 0;
  w.metadata = true;
}

// What the agent prints, others would see; the simulation tells what it has to in the world. The stream's buffer is
// nobody's memory.
void silence(const World &w) {
  static char buffer[4096];
  if (!w.log &&
      (std::freopen("/dev/null", "w", stdout) == nullptr || std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer) != 0)) {
    std::exit(2);
  }
}

[[noreturn]] void live() {
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // whoever ends the program ends this, too
  silence(world());
  draw_lease(world());
  invariants_begin_life();
  events_begin_life();
  const int status = agent_main();
  if (status != -1 || !world().port_hidden) {
    broken("the agent's main returned %d", status);
  }
  end_life(End::kGivenUp);
}

// The status of the agent's process, as wait tells it.
int play_life() {
  std::fflush(nullptr);
  world().end = End::kNone;
  world().restart_asked = world().restart_due = false;
  world().port_hidden = world().keyless = false;
  const pid_t child = fork();
  if (child == 0) {
    live();
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) {
    std::perror("fork");
    std::exit(2);
  }
  return status;
}

// A status of 0 without an end of ours is the agent's exit for a restart, in the turn that it was asked for.
bool survived(int status) {
  World &w = world();
  if (w.end == End::kBroken) {
    return false;
  }
  if (status == 0 && (w.end != End::kNone || w.restart_due)) {
    return true;
  }
  if (WIFSIGNALED(status)) {
    std::snprintf(w.failure, sizeof w.failure, "the process ended by signal %d%s", WTERMSIG(status),
                  WTERMSIG(status) == SIGALRM ? ": it hung" : "");
  } else {
    std::snprintf(w.failure, sizeof w.failure, "the process ended with status %d", WEXITSTATUS(status));
  }
  return false;
}

struct Look {
  uint64_t Counts::*count;
  const char *what;
};

// What every world must come to.
constexpr Look kLooks[] = {
    {&Counts::passes, "pass"},      {&Counts::settled_checks, "settled state"},
    {&Counts::documents, "report"}, {&Counts::memory_checks, "memory"},
    {&Counts::commands, "command"}, {&Counts::status_files, "status file"},
};

// And every world without the metadata service, which a start takes, too, that no wire server answered in time.
constexpr Look kWireLooks[] = {
    {&Counts::heartbeats, "heartbeat"},
    {&Counts::posted, "posted event"},
    {&Counts::wire_changes, "incarnation"},
};

template <size_t N>
bool looked_at(World &w, const Look (&looks)[N]) {
  for (const Look &look : looks) {
    if (w.counts.*look.count == 0) {
      std::snprintf(w.failure, sizeof w.failure, "hardly anything was looked at: not one %s", look.what);
      return false;
    }
  }
  return true;
}

// A seed in which one of these never came has shown nothing.
bool looked_at_all() {
  World &w = world();
  return looked_at(w, kLooks) && (w.counts.metadata_lives != 0 || looked_at(w, kWireLooks));
}

void start_again(World &w) {
  const bool restart = w.end != End::kPowerCut;
  w.configuration = w.written;  // what was pending is gone with the process
  w.hub_in_doubt = false;
  w.counts.restarts += restart ? 1 : 0;
  // The supervisor is quick; a machine takes a while.
  w.now += restart ? w.dice.between(1, 5) : w.dice.between(20, 300);
  happened("%s", restart ? "the agent starts again" : "the appliance starts again");
}

}  // namespace

bool play(uint64_t seed, int64_t seconds) {
  world_begin(seed, seconds);
  cloud_begin();
  events_begin();
  World &w = world();
  for (;;) {
    if (!survived(play_life())) {
      return false;
    }
    if (w.end == End::kOver) {
      return looked_at_all();
    }
    start_again(w);
  }
}

}  // namespace simulate
