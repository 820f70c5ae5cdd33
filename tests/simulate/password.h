// The administrator's password, as the VM-access extension sets it from protected settings.
#ifndef KELVANE_TESTS_SIMULATE_PASSWORD_H
#define KELVANE_TESTS_SIMULATE_PASSWORD_H

namespace simulate {

// A pass begins; and is over: the password is the one that was set, and otherwise what it was.
void password_begin_pass();
void password_check();

}  // namespace simulate

#endif
