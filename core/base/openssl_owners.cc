#include "core/base/openssl_owners.h"

namespace kelvane {

void openssl_free_bytes(unsigned char *bytes) {
  OPENSSL_free(bytes);
}

void openssl_free_safes(STACK_OF(PKCS7) * safes) {
  sk_PKCS7_pop_free(safes, PKCS7_free);
}

void openssl_free_bags(STACK_OF(PKCS12_SAFEBAG) * bags) {
  sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
}

}  // namespace kelvane
