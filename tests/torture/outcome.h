// What a run ends in, in a form in which two can be compared: configuration, files, and the reports that the platform
// was sent last, without their times. Blocks for as long as the look-ups do; throws std::runtime_error.
#ifndef KELVANE_TESTS_TORTURE_OUTCOME_H
#define KELVANE_TESTS_TORTURE_OUTCOME_H

#include <cstddef>
#include <string>
#include <vector>

#include "tests/scenario/run/appliance.h"
#include "tests/scenario/run/cloud.h"
#include "tests/torture/strike.h"

namespace torture {

using scenario::Json;

struct Difference {
  std::string place;  // "/tables/340/operator/profile"
  std::string expected;
  std::string came;
};

// How much the platform was told when the quiet run began.
struct Told {
  size_t requests = 0;
  size_t documents = 0;  // status documents
};

Told told_by_now(const scenario::Cloud &cloud);

// What the platform was told last: of the boot, at any time, as that is told once; of the status, by the quiet run.
Json last_reports(const Json &journal, const Json &documents, const Told &before);

Json outcome_of(const std::string &root, const Json &scenario, const scenario::Cloud &cloud, const Told &before);

// The events, each by its text: what was logged again because something was done again is no difference.
Json each_once(const Json &events);

// What differs, place by place, both ways: what is on one side only is "nothing" on the other.
std::vector<Difference> differences(const Json &expected, const Json &came);

// The requests up to the one that the fabric's blow befell, which is the last, as the sandbox tells them:
// "request(URL)". Empty when it befell none.
std::vector<Site> requests_to_strike(const scenario::Cloud &cloud);

// What the fabric found fault with in requests, by its journal, under "/requests METHOD TARGET FAULT": what came there
// twice is told once.
std::vector<Difference> violations(const Json &journal);

}  // namespace torture

#endif
