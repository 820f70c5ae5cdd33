// The process-wide initialisation of OpenSSL, once, by start-up and before anything else uses the library. The platform
// encrypts its containers with 40-bit RC2, which the library does not offer by itself: it is added here, and where the
// library keeps such ciphers in a loadable module (OpenSSL 3) that module is loaded. Does not block but for reading the
// module's file. When the module is missing one line is logged and start-up goes on: containers with 40-bit RC2 then
// count as undecryptable, everything else works.
#ifndef KELVANE_CREDENTIALS_CRYPTO_LIBRARY_H
#define KELVANE_CREDENTIALS_CRYPTO_LIBRARY_H

namespace kelvane {

// No result: what could not be loaded has been logged. A second call does no harm.
void CryptoLibraryInit();

}  // namespace kelvane

#endif
