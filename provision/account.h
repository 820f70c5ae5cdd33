// The making of administrator accounts in the configuration database, for first boot and for the VM-access plugin.
// Blocks in the platform only. Failures are logged here. The clear password is borrowed and never kept; the account
// record, which holds its stored form, is wiped.
#ifndef KELVANE_PROVISION_ACCOUNT_H
#define KELVANE_PROVISION_ACCOUNT_H

#include <stdint.h>

#include "platform/records.h"

namespace kelvane {

inline constexpr int32_t kDashboardWidgets = 8;

// The dashboard that every new account starts with.
struct DefaultDashboard {
  ncfg_dashboard_entry entries[kDashboardWidgets];
};

// Fills the list, in its fixed order, with the key numbers under which the appliance knows the widgets now.
void dashboard_build(DefaultDashboard *dashboard);

struct NewAccount {
  const char *user_name;  // the record takes at most 63 characters; child tables and keys are asked for by the whole
  const char *password;   // in clear; null: one that nobody knows, so that the account is reached by key only
  const DefaultDashboard *dashboard;
};

// Creates the account with the administrator profile, makes it durable, and installs the selected SSH keys in it. An
// account of that name that is there already keeps what it has, dashboards included, and gets the keys. 0; -1 when the
// password is refused or cannot be stored, the table cannot be opened, or the account cannot be added: no account was
// changed then. What comes after the account itself (dashboard, writing, keys) is best effort; kAccountNotWritten when
// the configuration could not be written.
inline constexpr int32_t kAccountNotWritten = 1;
int32_t account_create(const NewAccount &account);

}  // namespace kelvane

#endif
