// The library's initialisation: 40-bit RC2 afterwards, and the line about a missing module. Each test that looks at a
// fresh library runs in a process of its own.
#include "credentials/crypto_library.h"

#include <openssl/evp.h>
#include <openssl/opensslv.h>

#include "credentials/cert_store.h"
#include "credentials/pkcs12_walk.h"
#include "tests/support/recording_fixture.h"
#include "tests/unit/credentials/containers.h"

extern "C" {
int __real_OPENSSL_init_crypto(uint64_t options, const OPENSSL_INIT_SETTINGS *settings);
int __wrap_OPENSSL_init_crypto(uint64_t options, const OPENSSL_INIT_SETTINGS *settings);
int __real_EVP_add_cipher(const EVP_CIPHER *cipher);
int __wrap_EVP_add_cipher(const EVP_CIPHER *cipher);
}

int __wrap_OPENSSL_init_crypto(uint64_t options, const OPENSSL_INIT_SETTINGS *settings) {
  recording::note("OPENSSL_init_crypto(" + std::to_string(options) + ", " +
                  (settings == nullptr ? "null" : "settings") + ")");
  return __real_OPENSSL_init_crypto(options, settings);
}
int __wrap_EVP_add_cipher(const EVP_CIPHER *cipher) {
  recording::note(std::string("EVP_add_cipher(") + OBJ_nid2sn(EVP_CIPHER_nid(cipher)) + ")");
  return __real_EVP_add_cipher(cipher);
}

namespace {

class CryptoLibraryTest : public RecordingTest {
 protected:
  CryptoLibraryTest() { ::testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

// Whether a key that stands encrypted in a container reaches the store.
bool opens(int nid) {
  const std::string content = containers::data_content(
      {containers::shrouded_bag(containers::der(containers::rsa_key(1)), containers::local_key_id("1"), "",
                                containers::pbe_algorithm(nid, 2000))});
  kelvane::ProcessPKCS12(containers::container({content}).get(), nullptr);
  X509 *certificate = nullptr;
  EVP_PKEY *key = nullptr;
  const bool found = kelvane::CertStoreFind("", &certificate, &key) == 1;
  kelvane::CertStoreClear();
  return found;
}

TEST_F(CryptoLibraryTest, AddsAllCiphersAndDigestsThenTheOldCipher) {
  kelvane::CryptoLibraryInit();
  EXPECT_EQ(recording::trace(), (Lines{"OPENSSL_init_crypto(12, null)", "EVP_add_cipher(RC2-40-CBC)"}));
}

TEST_F(CryptoLibraryTest, ContainersOpenAfterwards) {
  recording::set_debug_level(100);
  kelvane::CryptoLibraryInit();
  EXPECT_TRUE(opens(NID_pbe_WithSHA1And40BitRC2_CBC));
  EXPECT_TRUE(opens(NID_pbe_WithSHA1And3_Key_TripleDES_CBC));
  EXPECT_NE(EVP_get_cipherbyname("RC2-40-CBC"), nullptr);
  EXPECT_EQ(recording::messages(), Lines{});
}

TEST_F(CryptoLibraryTest, ASecondCallDoesNoHarm) {
  kelvane::CryptoLibraryInit();
  kelvane::CryptoLibraryInit();
  EXPECT_TRUE(opens(NID_pbe_WithSHA1And40BitRC2_CBC));
}

#if OPENSSL_VERSION_NUMBER >= 0x30000000L

// Ends the process: 0 when this holds, with the log on standard error.
[[noreturn]] void finish(bool holds) {
  fputs(recording::log_text().c_str(), stderr);
  _exit(holds ? 0 : 1);
}

constexpr char kMissing[] = "[kelvane]: OpenSSL's legacy provider cannot be loaded, what needs it will fail\n";

// Runs in a process of its own, in which the library finds no module.
[[noreturn]] void init_without_modules(int32_t level, bool logged) {
  setenv("OPENSSL_MODULES", "/nonexistent", 1);
  recording::set_debug_level(level);
  kelvane::CryptoLibraryInit();
  const bool works = EVP_CIPHER_nid(EVP_aes_256_cbc()) != 0 && opens(NID_pbe_WithSHA1And3_Key_TripleDES_CBC);
  finish(works && recording::messages() == (logged ? Lines{kMissing} : Lines{}));
}

TEST_F(CryptoLibraryTest, AMissingModuleIsLoggedAndTheRestWorks) {
  EXPECT_EXIT(init_without_modules(1, true), ::testing::ExitedWithCode(0), "legacy provider cannot be loaded");
}

TEST_F(CryptoLibraryTest, AMissingModuleIsSilentAtLevel0) {
  EXPECT_EXIT(init_without_modules(0, false), ::testing::ExitedWithCode(0), "");
}

#endif

}  // namespace
