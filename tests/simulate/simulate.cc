// kelvane-simulate: plays seeds, says what became of them.
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/simulate/life.h"
#include "tests/simulate/platform_memory.h"
#include "tests/simulate/secrets.h"
#include "tests/simulate/world.h"

namespace simulate {

namespace {

struct Options {
  uint64_t first = 1;
  uint64_t seeds = 20;
  int64_t days = 7;
  uint64_t jobs = 1;
  bool log = false;
  bool twice = false;
};

void usage() {
  std::puts(
      "usage: kelvane-simulate [--seed FIRST] [--seeds N] [--days N] [--jobs N] [--log] [--twice]\n"
      "  --seed   the first seed (1)\n"
      "  --seeds  how many seeds, one after the other (20)\n"
      "  --days   simulated days of each (7)\n"
      "  --jobs   processes at once (1)\n"
      "  --log    print everything that happens and the agent's own lines\n"
      "  --twice  play each seed twice and compare the two");
}

bool take_number(const char *text, uint64_t *number) {
  char *end = nullptr;
  *number = std::strtoull(text, &end, 10);
  return text[0] != '\0' && *end == '\0';
}

bool take(const char *name, const char *value, Options *options) {
  uint64_t number = 0;
  if (value == nullptr || !take_number(value, &number)) {
    return false;
  }
  if (std::strcmp(name, "--seed") == 0) {
    options->first = number;
  } else if (std::strcmp(name, "--seeds") == 0 && number > 0) {
    options->seeds = number;
  } else if (std::strcmp(name, "--days") == 0 && number > 0) {
    options->days = static_cast<int64_t>(number);
  } else if (std::strcmp(name, "--jobs") == 0 && number > 0) {
    options->jobs = number;
  } else {
    return false;
  }
  return true;
}

bool parse(int argc, char **argv, Options *options) {
  for (int i = 1; i < argc; i++) {
    if (std::strcmp(argv[i], "--log") == 0) {
      options->log = true;
    } else if (std::strcmp(argv[i], "--twice") == 0) {
      options->twice = true;
    } else if (!take(argv[i], i + 1 < argc ? argv[i + 1] : nullptr, options)) {
      return false;
    } else {
      i++;
    }
  }
  return true;
}

double used_seconds() {
  rusage used = {};
  getrusage(RUSAGE_CHILDREN, &used);
  return static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
         static_cast<double>(used.ru_utime.tv_usec + used.ru_stime.tv_usec) / 1e6;
}

void print_good(double seconds) {
  const Counts &c = world().counts;
  std::printf(
      "seed %" PRIu64 ": ok, %.1f s; passes %" PRIu64 " (told everything %" PRIu64 ", checked as settled %" PRIu64
      ", documents %" PRIu64 ", memory %" PRIu64 "), requests %" PRIu64 " (faulty %" PRIu64 "), incarnations %" PRIu64
      ", commands %" PRIu64 ", first boots %" PRIu64 " (calls failed %" PRIu64 "), restarts %" PRIu64
      ", power cuts %" PRIu64 ", lives with the metadata service %" PRIu64 " (changes missed %" PRIu64
      "), incarnations told over the wire %" PRIu64 " (extensions missed %" PRIu64 "), status files read %" PRIu64
      ", event hub commands %" PRIu64 " (from protected settings %" PRIu64 "), passwords set %" PRIu64
      ", seventh names %" PRIu64 ", events posted %" PRIu64 " (heartbeats %" PRIu64 "), times of trouble %" PRIu64
      " (failed calls %" PRIu64 ", writes %" PRIu64 "), clock jumps %" PRIu64 ", longest queue %" PRIu64
      ", longest silence %" PRIu64 " s, memory risen by %" PRIu64 ", digest %016" PRIx64 "\n",
      world().seed, seconds, c.passes, c.clean_passes, c.settled_checks, c.documents, c.memory_checks, c.requests,
      c.faults, c.revisions, c.commands, c.first_boots, c.spoilt_boots, c.restarts, c.cuts, c.metadata_lives, c.missed,
      c.wire_changes, c.wire_missed, c.status_files, c.hub_commands, c.secret_commands, c.passwords, c.seventh_names,
      c.posted, c.heartbeats, c.troubles, c.failed_calls, c.failed_writes, c.jumps, c.longest_queue, c.longest_silence,
      c.rise, world().digest);
}

void print_bad(const Options &options) {
  const World &w = world();
  std::printf("seed %" PRIu64 ": FAILED: %s\nThe last thirty events:\n", w.seed, w.failure);
  print_happenings();
  std::printf("Again, with every line: ./dev simulate --seed %" PRIu64 " --seeds 1 --days %" PRId64 " --log\n", w.seed,
              options.days);
}

bool play_seed(uint64_t seed, const Options &options) {
  const double before = used_seconds();
  if (!play(seed, options.days * kDay)) {
    print_bad(options);
    return false;
  }
  const uint64_t digest = world().digest;
  const Counts counts = world().counts;
  print_good(used_seconds() - before);
  if (!options.twice) {
    return true;
  }
  if (!play(seed, options.days * kDay)) {
    print_bad(options);
    return false;
  }
  if (world().digest != digest || std::memcmp(&world().counts, &counts, sizeof counts) != 0) {
    std::printf("seed %" PRIu64 ": FAILED: the second play differs: digest %016" PRIx64 ", then %016" PRIx64 "\n", seed,
                digest, world().digest);
    std::puts("The last thirty events of the second:");
    print_happenings();
    return false;
  }
  return true;
}

// One of the jobs: every so-many-th seed. The number that failed.
int play_share(uint64_t share, const Options &options) {
  world_make();
  world().log = options.log;
  int failed = 0;
  for (uint64_t i = share; i < options.seeds; i += options.jobs) {
    failed += play_seed(options.first + i, options) ? 0 : 1;
    std::fflush(stdout);
  }
  return failed > 100 ? 100 : failed;
}

int play_all(const Options &options) {
  for (uint64_t share = 0; share < options.jobs; share++) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
      std::perror("fork");
      return 1;
    }
    if (child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      _exit(play_share(share, options));
    }
  }
  int failed = 0;
  int status = 0;
  while (wait(&status) > 0) {
    failed += WIFEXITED(status) ? WEXITSTATUS(status) : 1;
  }
  return failed;
}

}  // namespace

int simulate_main(int argc, char **argv) {
  Options options;
  if (!parse(argc, argv, &options)) {
    usage();
    return 2;
  }
  platform_make_key();
  secrets_make();
  const int failed = play_all(options);
  std::printf("%" PRIu64 " seeds of %" PRId64 " days, %d failed\n", options.seeds, options.days, failed);
  return failed != 0 ? 1 : 0;
}

}  // namespace simulate
