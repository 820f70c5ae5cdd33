#include "tests/simulate/accounts.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "tests/simulate/expectation.h"

namespace simulate {

namespace {

// After the pass before.
Configuration gsWritten;
Configuration gsPending;

bool gsFailed = false;  // a call, in this pass

Configuration with_password(Configuration configuration, const std::string &secret) {
  char(&field)[NCFG_PASSWORD_SIZE] = configuration.account[0].record.password;
  std::memset(field, 0, sizeof field);
  ("stored:" + secret).copy(field, sizeof field - 1);
  return configuration;
}

// The last that was set; with a failed call it may be one before that.
bool was_set(const Configuration &is) {
  const std::vector<std::string> &set = expectation_passwords();
  const auto first = gsFailed || set.empty() ? set.begin() : set.end() - 1;
  return std::any_of(first, set.end(),
                     [&](const std::string &each) { return same_accounts(is, with_password(gsPending, each)); });
}

// What a failed call left pending is written with whatever is written next.
bool is_right(const Configuration &is, bool written) {
  const bool may_stay = expectation_passwords().empty() || gsFailed;
  const bool stayed = same_accounts(is, gsPending) || (written && same_accounts(is, gsWritten));
  return (may_stay && stayed) || was_set(is);
}

// The first byte that differs when the administrator's password is taken out; the size of all accounts for none.
size_t first_difference(const Configuration &left, const Configuration &right) {
  const Configuration one = with_password(left, "");
  const Configuration other = with_password(right, "");
  const char *bytes = reinterpret_cast<const char *>(one.account);
  const char *end = bytes + sizeof one.account;
  return static_cast<size_t>(std::mismatch(bytes, end, reinterpret_cast<const char *>(other.account)).first - bytes);
}

[[noreturn]] void tell(const char *what, const Configuration &is, const Configuration &was) {
  if (std::memcmp(&is.settings, &was.settings, sizeof is.settings) != 0) {
    broken("the system settings that are %s have changed", what);
  }
  const size_t at = first_difference(is, was);
  if (at < sizeof is.account) {
    broken("the accounts that are %s have changed: account %zu of %d at byte %zu", what, at / sizeof(Account),
           is.accounts, at % sizeof(Account));
  }
  const std::vector<std::string> &set = expectation_passwords();
  broken("the administrator's password that is %s is neither the one that was set, '%s', nor what it was", what,
         set.empty() ? "" : set.back().c_str());
}

void keep(Configuration *kept, const Configuration &is) {
  if (!same_accounts(*kept, is)) {
    *kept = is;
  }
}

}  // namespace

bool same_accounts(const Configuration &left, const Configuration &right) {
  return left.accounts == right.accounts && std::memcmp(left.account, right.account, sizeof left.account) == 0 &&
         std::memcmp(&left.settings, &right.settings, sizeof left.settings) == 0;
}

void accounts_begin() {
  gsWritten = world().written;
  gsPending = world().configuration;
  gsFailed = false;
}

void accounts_call_failed() {
  gsFailed = true;
}

void accounts_check() {
  World &w = world();
  if (!is_right(w.written, true)) {
    tell("written", w.written, gsWritten);
  }
  if (!is_right(w.configuration, false)) {
    tell("pending", w.configuration, gsPending);
  }
  w.counts.passwords += !same_accounts(w.written, gsWritten) && was_set(w.written) ? 1 : 0;
  keep(&gsWritten, w.written);
  keep(&gsPending, w.configuration);
  gsFailed = false;
}

}  // namespace simulate
