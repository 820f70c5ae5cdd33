// The SSH public key store of these tests: it only writes down what it is asked.
#include "tests/support/recording_state.h"

extern "C" {

void __wrap__ZN7kelvane12SSHPubKeyAddEPKcS1_i(const char *public_key, const char *fingerprint, int32_t selected) {
  recording::note("SSHPubKeyAdd(" + recording::quoted(public_key) + ", " + recording::quoted(fingerprint) + ", " +
                  std::to_string(selected) + ")");
}

void __wrap__ZN7kelvane13SSHPubKeyFlagEPKc(const char *fingerprint) {
  recording::note("SSHPubKeyFlag(" + recording::quoted(fingerprint) + ")");
}

void __wrap__ZN7kelvane12SSHPubKeySetEPKc(const char *user_name) {
  recording::note("SSHPubKeySet(" + recording::quoted(user_name) + ")");
}

}  // extern "C"
