// The administrator lock: until first-boot provisioning has run, the built-in "admin" account has a password that
// nobody knows. Called by start-up before anything else can log in, on every start without the provisioning marker.
// Blocks only in the platform. A failure is logged and does not stop start-up; it never leaves an empty or a known
// password behind where there was none.
#ifndef KELVANE_CORE_ADMIN_LOCK_H
#define KELVANE_CORE_ADMIN_LOCK_H

namespace kelvane {

void admin_lock();

}  // namespace kelvane

#endif
