// Messages made by the openssl program as it is installed: a second maker of what the agent must open. Used for
// protected settings whose scenario asks for it. Blocks for as long as the program runs; throws CryptoError when it
// cannot be run or fails. The clear text passes through a file of its own that only its owner reads and that is gone
// afterwards.
#ifndef KELVANE_TOOLS_FABRIC_OPENSSL_PROGRAM_H
#define KELVANE_TOOLS_FABRIC_OPENSSL_PROGRAM_H

#include <string>
#include <string_view>

#include "tools/fabric/ssl.h"

namespace kelvane::fabric {

// The text for the recipient, DER, by `openssl COMMAND -encrypt`; COMMAND is "smime" or "cms".
std::string seal_by_program(const std::string &command, std::string_view text, X509 *recipient);

}  // namespace kelvane::fabric

#endif
