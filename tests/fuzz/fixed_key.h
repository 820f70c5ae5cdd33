// The RSA key and the tenant certificate of all fuzz targets. They are computed from fixed texts, so that an encrypted
// input which a fuzzer made is readable in every later run; nothing that could be mistaken for a secret is checked in.
// The platform call generate_RSA_key is replaced at link time and gives this key. Failures end the program.
#ifndef KELVANE_TESTS_FUZZ_FIXED_KEY_H
#define KELVANE_TESTS_FUZZ_FIXED_KEY_H

#include <openssl/x509.h>

namespace fuzz {

// 1024 bits; the caller's.
RSA *fixed_rsa_key();
// Lent for ever; the same bytes in every run.
EVP_PKEY *fixed_key();
X509 *fixed_certificate();
// Puts both into the agent's certificate store. True.
bool store_fixed_certificate();

}  // namespace fuzz

#endif
