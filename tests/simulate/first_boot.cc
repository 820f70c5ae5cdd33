#include "tests/simulate/first_boot.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "tests/simulate/accounts.h"
#include "tests/simulate/disk.h"
#include "tests/simulate/media.h"
#include "tests/simulate/sent.h"

namespace simulate {

namespace {

constexpr char kMarker[] = "/data/etc/.provisioned";
constexpr char kKeptDocument[] = "/data/etc/.ovf-env.xml";
constexpr char kWaitingData[] = "/etc/tmpdata.conf";
constexpr char kCustomData[] = "/data/etc/.customdata";

bool gsMarked;  // at the begin of this life
bool gsOver;    // in this life: what fails from now on has nothing to do with it
Configuration gsBefore;

bool there(const char *path) {
  return disk_exists(path) == 0;
}

void same(const char *what, const std::string &is, const std::string &should) {
  if (is != should) {
    broken("first boot: %s is '%s' and should be '%s'", what, is.c_str(), should.c_str());
  }
}

// ---- the outcome -----------------------------------------------------------------------------------------------

void check_dashboard(const Account &account) {
  constexpr uint32_t kColumns[kDashboard] = {1, 1, 2, 2, 2, 2, 1, 2};
  same("the number of widgets", std::to_string(account.widgets), std::to_string(kDashboard));
  for (uint32_t i = 0; i < kDashboard; i++) {
    const ncfg_dashboard_entry &is = account.dashboard[i];
    if (is.widget != i + 1 || is.column != kColumns[i] || is.open != 1 || is.height != 300) {
      broken("first boot: widget %u is %u in column %u, %u, %u", i, is.widget, is.column, is.open, is.height);
    }
  }
  same("the GUI dashboard", account.gui ? "there" : "missing", "there");
}

void check_account(const Account &account, const Media &media) {
  const ncfg_account &record = account.record;
  const std::string password = record.password;
  same("the account", record.name, kMediaUser);
  if (media.password) {
    same("the password", password, std::string("stored:") + kMediaPassword);
  } else if (password.size() <= 7) {
    broken("first boot: the account without a password has the password '%s'", password.c_str());
  }
  if (record.access_profile != 1 || record.hidden != 0 || record.field_2460 != 0x101 || record.field_1088 != 1 ||
      record.field_1096 != 1) {
    broken("first boot: the account's fixed fields are not as they should be");
  }
  for (int i = 0; i < kKeys; i++) {
    same("a key", account.keys[i], i < media.keys ? media_key(i) : "");
  }
  check_dashboard(account);
}

// A start that was cut off between the marker and the move leaves it where it waits.
void check_custom_data(const FirstBoot &boot) {
  const bool moved = there(kCustomData);
  if (boot.custom && (boot.over || !there(kWaitingData))) {
    same("the custom data", std::string(disk_bytes(kCustomData)), media_custom_data());
  }
  same("custom data", moved && !boot.custom ? "there" : "as expected", "as expected");
}

void one_of(const char *what, const std::string &is, const char *one, const char *other) {
  if (is != one && is != other) {
    broken("first boot: %s is '%s' and should be '%s' or '%s'", what, is.c_str(), one, other);
  }
}

// Where a call failed, what it was for may be missing, and nothing may be otherwise.
void check_spoilt_outcome() {
  const World &w = world();
  const Configuration &now = w.written;
  one_of("the host name", now.settings.host_name, kMediaHost, "appliance");
  one_of("the kernel's host name", w.kernel_host, kMediaHost, "appliance");
  one_of("the number of accounts", std::to_string(now.accounts), "1", "2");
  for (int i = 0; i < kKeys; i++) {
    one_of("a key", now.account[1].keys[i], i < w.media.keys ? media_key(i).c_str() : "", "");
  }
  if (now.accounts == 2) {
    same("the account", now.account[1].record.name, kMediaUser);
  }
  if (there(kCustomData)) {
    same("the custom data", std::string(disk_bytes(kCustomData)), media_custom_data());
  }
}

void check_outcome() {
  const World &w = world();
  const Configuration &now = w.written;
  if (w.first_boot.spoilt) {
    check_spoilt_outcome();
    return;
  }
  same("the host name", now.settings.host_name, w.first_boot.document ? kMediaHost : "appliance");
  same("the kernel's host name", w.kernel_host, w.first_boot.document ? kMediaHost : "appliance");
  same("the number of accounts", std::to_string(now.accounts), w.first_boot.document ? "2" : "1");
  if (w.first_boot.document) {
    check_account(now.account[1], w.media);
  }
  check_custom_data(w.first_boot);
}

// ---- one start -------------------------------------------------------------------------------------------------

void check_untouched() {
  same("what a start with the marker reports", sent_last().provisioning, "");
  if (!same_accounts(gsBefore, world().written)) {
    broken("first boot: a start with the marker changed the accounts or the settings");
  }
}

void check_admin_locked() {
  const char *password = world().written.account[0].record.password;
  if (std::strcmp(password, gsBefore.account[0].record.password) == 0) {
    broken("first boot: the built-in administrator is not locked");
  }
}

// The policy is against the password: no account and no marker, and "ready" all the same.
void check_refused() {
  same("the marker", there(kMarker) ? "there" : "missing", "missing");
  same("the number of accounts", std::to_string(world().written.accounts), "1");
}

void check_done() {
  World &w = world();
  same("what is reported", sent_last().provisioning, "NR");
  if (w.first_boot.spoilt) {
    check_spoilt_outcome();
    return;
  }
  check_admin_locked();
  if (w.first_boot.document && w.media.refused) {
    check_refused();
    return;
  }
  same("the marker", std::string(disk_bytes(kMarker)), w.metadata ? "" : "10813fa8\n");
  same("the marker", there(kMarker) ? "there" : "missing", "there");
  check_outcome();
}

}  // namespace

void first_boot_begin_life() {
  World &w = world();
  gsMarked = there(kMarker);
  gsBefore = w.written;
  if (!gsMarked) {
    same("the marker of a start that came through", w.first_boot.over ? "gone" : "not there yet", "not there yet");
    // An account that an earlier start made is left as it is.
    w.first_boot.spoilt = w.first_boot.spoilt && w.written.accounts > 1;
    return;
  }
  check_outcome();
}

bool first_boot_ahead() {
  return !gsMarked;
}

void first_boot_media_read(bool mounted) {
  FirstBoot &boot = world().first_boot;
  if (!gsMarked) {
    boot.document = mounted || there(kKeptDocument);
    // A first boot that could leave no marker may have moved it already.
    boot.custom = (mounted && world().media.custom) || there(kWaitingData) || there(kCustomData);
  }
}

void first_boot_call_failed() {
  FirstBoot &boot = world().first_boot;
  boot.spoilt = boot.spoilt || (!gsMarked && !gsOver);
}

bool first_boot_is_over() {
  return gsOver;
}

void first_boot_over() {
  World &w = world();
  gsOver = true;
  if (gsMarked) {
    check_untouched();
    return;
  }
  w.first_boot.over = there(kMarker);
  w.counts.first_boots += w.first_boot.over ? 1 : 0;
  w.counts.spoilt_boots += w.first_boot.over && w.first_boot.spoilt ? 1 : 0;
  check_done();
}

}  // namespace simulate
