// The tenant's keys and certificates: made at start, one pair for each certificate of the scenario, kept in memory.
// Used by the documents, the media and the artifacts. Making an RSA key takes a tenth of a second and more; a failed
// OpenSSL call throws CryptoError. Private keys leave this module only inside a container or by key_pem.
#ifndef KELVANE_TOOLS_FABRIC_TENANT_H
#define KELVANE_TOOLS_FABRIC_TENANT_H

#include <string>
#include <vector>

#include "tools/fabric/scenario.h"
#include "tools/fabric/ssl.h"

namespace kelvane::fabric {

struct Identity {
  CertificateSpec spec;
  PkeyPtr key;
  X509Ptr certificate;
  std::string thumbprint;
};

class Tenant {
 public:
  explicit Tenant(const TenantSpec &spec);

  // The identity of that name; throws ScenarioError when there is none. Lives as long as the tenant.
  const Identity &named(const std::string &name) const;
  // Those named, in that order; all of them when `names` is absent.
  std::vector<const Identity *> chosen(const std::optional<std::vector<std::string>> &names) const;

 private:
  std::vector<Identity> all_;
};

// A fresh RSA key with a self-signed certificate, valid from an hour ago for ten years.
Identity make_identity(const CertificateSpec &spec);

// SHA-1 of the DER certificate, 40 upper-case digits.
std::string thumbprint_of(X509 *certificate);

std::string certificate_pem(const Identity &identity);
std::string key_pem(const Identity &identity);

// The public key as an "ssh-rsa ..." line with the identity's name as comment, without a line end.
std::string ssh_rsa_line(const Identity &identity);

}  // namespace kelvane::fabric

#endif
