#include "tests/simulate/password.h"

#include <algorithm>
#include <string>
#include <vector>

#include "tests/simulate/expectation.h"

namespace simulate {

namespace {

struct Before {
  std::string written, pending;
  uint64_t failed_calls;
};

Before gsBefore;

std::string password_in(const Configuration &configuration) {
  return configuration.account[0].record.password;
}

}  // namespace

void password_begin_pass() {
  gsBefore = {password_in(world().written), password_in(world().configuration), world().counts.failed_calls};
}

// The last that was set in the pass. With a failed call it may be one before that, or what it was; what such a call
// left pending is written with whatever is written next.
void password_check() {
  const std::string is = password_in(world().written);
  const std::vector<std::string> &set = expectation_passwords();
  const bool failed = world().counts.failed_calls != gsBefore.failed_calls;
  const auto is_stored = [&](const std::string &secret) { return is == "stored:" + secret; };
  const bool last = !set.empty() && is_stored(set.back());
  const bool before = failed && std::any_of(set.begin(), set.end(), is_stored);
  const bool stayed = (set.empty() || failed) && (is == gsBefore.written || is == gsBefore.pending);
  if (!last && !before && !stayed) {
    broken("the administrator's password is neither the one that was set, '%s', nor what it was",
           set.empty() ? "" : set.back().c_str());
  }
  world().counts.passwords += last ? 1 : 0;
}

}  // namespace simulate
