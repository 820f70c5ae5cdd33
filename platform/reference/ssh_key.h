// Reads an OpenSSH one-line public key and refuses what is none. Pure; no allocation failure is handled here (it
// throws).
#ifndef KELVANE_PLATFORM_REFERENCE_SSH_KEY_H
#define KELVANE_PLATFORM_REFERENCE_SSH_KEY_H

#include <optional>
#include <string>

namespace kelvane::reference {

// "type base64" or "type base64 comment", single spaces between, no line end; nothing when the text is no key. Accepted
// are ssh-rsa (1024 to 16384 bits), ssh-ed25519 and ecdsa-sha2-nistp256, -nistp384 and -nistp521, without options.
std::optional<std::string> parse_ssh_key(const char *text);

}  // namespace kelvane::reference

#endif
