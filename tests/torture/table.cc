#include "tests/torture/table.h"

#include <cstdio>
#include <map>
#include <set>
#include <string>

#include "tests/torture/prescribed.h"

namespace torture {
namespace {

struct Count {
  std::set<std::string> sites;
  size_t planned = 0, runs = 0, survived = 0, meant = 0, missed = 0;
};

using Counts = std::map<std::string, Count>;

constexpr char kAll[] = "all";

Counts counts_of(const std::vector<Strike> &plan, const State &state) {
  Counts counts;
  for (const Strike &strike : plan) {
    for (const std::string &name : {strike.protocol + " " + strike.site.call_class, std::string(kAll)}) {
      Count &count = counts[name];
      count.sites.insert(strike.protocol + strike.site.call_class + std::to_string(strike.site.number));
      count.planned += 1;
      count.runs += state.played(strike) ? 1 : 0;
      count.survived += state.survived(strike) ? 1 : 0;
      count.meant += state.survived(strike) && !state.meant(strike).empty() ? 1 : 0;
      count.missed += state.missed(strike) ? 1 : 0;
    }
  }
  return counts;
}

void print(const Counts &counts, bool kill) {
  std::printf("%-20s %8s %8s %8s %8s %8s %8s\n", kill ? "kills" : "failures", "sites", "planned", "runs", "survived",
              "meant", "missed");
  for (const auto &[name, count] : counts) {
    std::printf("%-20s %8zu %8zu %8zu %8zu %8zu %8zu\n", name.c_str(), count.sites.size(), count.planned, count.runs,
                count.survived, count.meant, count.missed);
  }
}

// The start behind a kill may end before it comes to the second one.
void print_second(const std::vector<Strike> &plan, const State &state) {
  size_t played = 0, fell = 0;
  for (const Strike &strike : plan) {
    played += !strike.second.empty() && state.played(strike) ? 1 : 0;
    fell += state.second_fell(strike) ? 1 : 0;
  }
  if (played != 0) {
    std::printf("both kills fell in %zu of %zu pairs\n", fell, played);
  }
}

// Told only: a place in memory may have another name in a build that puts other functions inline.
void print_unused(const std::vector<Strike> &plan, const State &state, bool kill) {
  std::set<std::string> used;
  for (const Strike &strike : plan) {
    const Json meant = state.meant(strike);
    for (const auto &[place, patterns] : meant.items()) {
      used.insert(patterns.get<std::string>());
    }
  }
  for (const std::string &pair : unused_pairs(used, kill)) {
    std::printf("prescribed.cc: no play came to need \"%s\"\n", pair.c_str());
  }
}

void print_failed_before(const std::vector<Strike> &plan, const State &state) {
  for (const Strike &strike : plan) {
    if (state.failed_before(strike)) {
      std::printf("%s was survived, and was not when it was played before\n", strike.address().c_str());
    }
  }
}

}  // namespace

int sum_up(const Options &options, const std::vector<Strike> &plan, const State &state) {
  Counts counts = counts_of(plan, state);
  print(counts, options.kill);
  print_second(plan, state);
  print_failed_before(plan, state);
  const Count &all = counts[kAll];
  if (all.runs == 0) {
    std::fprintf(stderr, "kelvane-torture: nothing was played\n");
    return 2;
  }
  if (options.whole() && all.runs == all.planned) {
    print_unused(plan, state, options.kill);
  }
  return all.runs == all.survived ? 0 : 1;
}

}  // namespace torture
