#include "tests/simulate/password.h"

#include <string>

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

// What a failed call left pending is written with whatever is written next.
void password_check() {
  const std::string is = password_in(world().written);
  const std::string &secret = expectation_password();
  const bool failed = world().counts.failed_calls != gsBefore.failed_calls;
  const bool set = !secret.empty() && is == "stored:" + secret;
  const bool stayed = (secret.empty() || failed) && (is == gsBefore.written || is == gsBefore.pending);
  if (!set && !stayed) {
    broken("the administrator's password is neither the one that was set, '%s', nor what it was", secret.c_str());
  }
  world().counts.passwords += set ? 1 : 0;
}

}  // namespace simulate
