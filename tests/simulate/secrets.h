// What the cloud encrypts for the appliance: the container with the tenant's certificate and key, to the transport key,
// and protected settings, to the tenant's certificate. Keys are computed from fixed texts. Everything is made once,
// before the first life, so that no life pays for it and OpenSSL has loaded what it loads late.
#ifndef KELVANE_TESTS_SIMULATE_SECRETS_H
#define KELVANE_TESTS_SIMULATE_SECRETS_H

#include <cstdint>
#include <string>

namespace simulate {

void secrets_make();

// The container, as base64; and the certificate's thumbprint.
const std::string &secrets_container();
const std::string &secrets_thumbprint();

// Protected settings with an event hub command and the administrator's new password, as base64; the identifier that the
// command configures; the password. More than two revisions can name at once.
inline constexpr int32_t kSecrets = 32;
const std::string &secrets_settings(int32_t secret);
std::string secret_appliance(int32_t secret);
std::string secret_password(int32_t secret);
inline constexpr char kSecretOperation[] = "op-secret";

}  // namespace simulate

#endif
