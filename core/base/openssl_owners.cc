#include "core/base/openssl_owners.h"

namespace kelvane {

void openssl_free_bytes(unsigned char *bytes) {
  OPENSSL_free(bytes);
}

}  // namespace kelvane
