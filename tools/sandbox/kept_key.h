// The RSA key that the platform is asked for, kept from start to start: making one takes longer than all the rest of a
// short run. Blocks for as long as the disk does.
#ifndef KELVANE_TOOLS_SANDBOX_KEPT_KEY_H
#define KELVANE_TOOLS_SANDBOX_KEPT_KEY_H

#include <cstdint>
#include <functional>
#include <string>

struct rsa_st;

namespace sandbox {

// The key in the file if it has so many bits, else the one that `make` makes, which is written there. Null when `make`
// gives nothing. The caller frees it.
rsa_st *kept_key(const std::string &file, int32_t bits, const std::function<rsa_st *()> &make);

}  // namespace sandbox

#endif
