// The SSH public key store of these tests: it only writes down what it is asked.
#include "tests/unit/provision/ssh_store.h"

#include <stdint.h>

#include "tests/support/recording_state.h"

bool &ssh_store_without_memory() {
  static bool without = false;
  return without;
}

extern "C" {

int32_t __wrap__ZN7kelvane12SSHPubKeyAddEPKcS1_i(const char *public_key, const char *fingerprint, int32_t selected) {
  recording::note("SSHPubKeyAdd(" + recording::quoted(public_key) + ", " + recording::quoted(fingerprint) + ", " +
                  std::to_string(selected) + ")");
  return ssh_store_without_memory() ? -1 : 0;
}

void __wrap__ZN7kelvane13SSHPubKeyFlagEPKc(const char *fingerprint) {
  recording::note("SSHPubKeyFlag(" + recording::quoted(fingerprint) + ")");
}

void __wrap__ZN7kelvane12SSHPubKeySetEPKc(const char *user_name) {
  recording::note("SSHPubKeySet(" + recording::quoted(user_name) + ")");
}

}  // extern "C"
