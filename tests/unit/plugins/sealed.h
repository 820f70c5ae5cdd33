// A tenant certificate in the agent's certificate store, and settings encrypted as the platform does it: base64 of a
// PKCS#7 enveloped-data message in DER form. Failures throw.
#ifndef KELVANE_TESTS_UNIT_PLUGINS_SEALED_H
#define KELVANE_TESTS_UNIT_PLUGINS_SEALED_H

#include <string>

#include "tests/unit/credentials/containers.h"

namespace sealed {

// The certificate for rsa_key(number), the same one in a whole process.
const containers::Certificate &certificate(size_t number = 1);
// Puts it, with its key, into the agent's store. Clear the store at the end.
void put_into_store(size_t number = 1);
void put_into_store(size_t number, bool with_certificate, bool with_key);

std::string seal(const std::string &plain, X509 *certificate);
std::string seal(const std::string &plain, size_t number = 1);
// The same made by the openssl command line tool.
std::string seal_by_tool(const std::string &plain, const std::string &certificate_pem, const std::string &command);

}  // namespace sealed

#endif
