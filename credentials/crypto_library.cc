#include "credentials/crypto_library.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/opensslv.h>
#include <stdint.h>
#if OPENSSL_VERSION_NUMBER >= 0x30000000L
#include <openssl/provider.h>
#endif

#include "core/base/log.h"

namespace kelvane {

namespace {

constexpr uint64_t kInitOptions = OPENSSL_INIT_ADD_ALL_CIPHERS | OPENSSL_INIT_ADD_ALL_DIGESTS;
static_assert(kInitOptions == 12);

// The one place in the agent that knows two versions of the library apart: since OpenSSL 3 ciphers come from providers,
// the old ones from a module of its own. Naming one provider switches the automatic default off, so both are named.
#if OPENSSL_VERSION_NUMBER >= 0x30000000L
struct ProviderRow {
  const char *name;
  OSSL_PROVIDER *loaded;  // for the life of the process: never unloaded
};

ProviderRow gsProviders[] = {
    {.name = "default", .loaded = nullptr},
    {.name = "legacy", .loaded = nullptr},
};

void load_providers() {
  for (ProviderRow &row : gsProviders) {
    row.loaded = OSSL_PROVIDER_load(nullptr, row.name);
    if (row.loaded == nullptr) {
      LOG_ABOVE(0, "[kelvane]: OpenSSL's %s provider cannot be loaded, what needs it will fail\n", row.name);
    }
  }
}
#else
void load_providers() {}
#endif

}  // namespace

void CryptoLibraryInit() {
  OPENSSL_init_crypto(kInitOptions, nullptr);
  EVP_add_cipher(EVP_rc2_40_cbc());
  load_providers();
}

}  // namespace kelvane
