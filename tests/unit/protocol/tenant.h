// A tenant of the platform for the tests of both protocols: its certificate and container, made by the openssl command
// line tool once in a process, and the messages that carry a container to the agent.
#ifndef KELVANE_TESTS_UNIT_PROTOCOL_TENANT_H
#define KELVANE_TESTS_UNIT_PROTOCOL_TENANT_H

#include <string>

#include "credentials/transport_cert.h"
#include "tests/support/files.h"

namespace tenant {

// The tenant's certificate with its key: a PKCS#12 container in DER, with an empty password.
const std::string &container();
// The certificate's: 40 uppercase hexadecimal characters.
const std::string &thumbprint();
// Whether the certificate store holds both, certificate and key.
bool stored();

// What the agent has for a transport certificate, lent.
kelvane::TransportCert transport();
// Its certificate as a PEM file in the folder.
std::string recipient(const support::TempDir &folder);
// A certificate of somebody else as a PEM file.
std::string other_recipient(const support::TempDir &folder);

// Encrypts bytes to a certificate: a CMS message in a file of the folder, whose path it returns.
std::string wrap(const support::TempDir &folder, const std::string &bytes, const std::string &certificate);

}  // namespace tenant

#endif
