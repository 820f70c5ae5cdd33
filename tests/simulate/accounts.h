// The accounts, and the settings with the host name. First boot makes them; from then on nothing changes but the
// administrator's password, which the VM-access extension sets from protected settings.
#ifndef KELVANE_TESTS_SIMULATE_ACCOUNTS_H
#define KELVANE_TESTS_SIMULATE_ACCOUNTS_H

#include "tests/simulate/world.h"

namespace simulate {

// Byte for byte.
bool same_accounts(const Configuration &left, const Configuration &right);

// The first pass of a life begins: what is there is what stays.
void accounts_begin();

// A call that the change of a password needs failed in this pass.
void accounts_call_failed();

// A pass is over: what was written, and what is pending, is what it was before, with the password that was set.
void accounts_check();

}  // namespace simulate

#endif
