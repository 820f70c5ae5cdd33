// The SSH public key store of these tests.
#ifndef KELVANE_TESTS_UNIT_PROVISION_SSH_STORE_H
#define KELVANE_TESTS_UNIT_PROVISION_SSH_STORE_H

// Whether the store says that it has no memory for the keys that it is given; false at first.
bool &ssh_store_without_memory();

#endif
