// What a run ends in, in a form in which two can be compared: configuration, files, and the reports that the platform
// was sent last, without their times. Blocks for as long as the look-ups do; throws std::runtime_error.
#ifndef KELVANE_TESTS_TORTURE_OUTCOME_H
#define KELVANE_TESTS_TORTURE_OUTCOME_H

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

Json outcome_of(const std::string &root, const Json &scenario, const scenario::Cloud &cloud);

// What differs, place by place.
std::vector<Difference> differences(const Json &expected, const Json &came);

// The requests up to the one that the fabric's blow befell, which is the last, as the sandbox tells them:
// "request(URL)". Empty when it befell none.
std::vector<Site> requests_to_strike(const scenario::Cloud &cloud);

// What the fabric found fault with in requests, each fault once, under "/requests METHOD TARGET FAULT".
std::vector<Difference> violations(const scenario::Cloud &cloud);

}  // namespace torture

#endif
