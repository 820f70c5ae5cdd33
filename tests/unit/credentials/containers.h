// Keys, certificates and PKCS#12 containers for the credentials tests. Containers are put together from DER pieces, so
// that broken and unusual ones can be made as easily as good ones. Everything is made at run time. Failures throw.
#ifndef KELVANE_TESTS_UNIT_CREDENTIALS_CONTAINERS_H
#define KELVANE_TESTS_UNIT_CREDENTIALS_CONTAINERS_H

#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace containers {

using Key = std::shared_ptr<EVP_PKEY>;
using Certificate = std::shared_ptr<X509>;
using Container = std::shared_ptr<PKCS12>;

// ---- keys and certificates ----

// One of a few RSA keys of 1024 bits, made once in a process.
Key rsa_key(size_t number = 0);
Key ec_key();
// The public key of an RSA pair that does not exist: only good for being named in a certificate.
Key public_rsa_key(const std::string &modulus_hex, const std::string &exponent_hex);
// A certificate for the key, signed by rsa_key(0) in any case.
Certificate certificate(const Key &key, const std::string &name, long serial = 1);

std::string der(const Certificate &certificate);
std::string der(const Key &key);  // PKCS#8, in clear
std::string pem(const Certificate &certificate);
std::string pem(const Key &key);  // PKCS#8, in clear
std::string hex_upper(const std::string &bytes);
// 40 uppercase hexadecimal characters, computed without the code under test.
std::string thumbprint(const Certificate &certificate);
// "ssh-rsa ..." written out by hand from the key's numbers.
std::string ssh_key(const Key &key);
bool same(const EVP_PKEY *a, const Key &b);
bool same(const X509 *a, const Certificate &b);

// ---- DER pieces ----

inline constexpr uint8_t kBitString = 3;
inline constexpr uint8_t kOctetString = 4;
inline constexpr uint8_t kUtf8String = 12;
inline constexpr uint8_t kBmpString = 30;
inline constexpr uint8_t kSequence = 0x30;
inline constexpr uint8_t kSet = 0x31;
inline constexpr uint8_t kContext0 = 0xA0;

std::string tlv(uint8_t tag, const std::string &content);
std::string oid(int nid);
std::string integer(uint64_t value);

// ---- algorithms ----

std::string pbe_algorithm(int nid, int iterations);
std::string pbkdf2_algorithm(int iterations, int prf = NID_undef, int cipher = NID_aes_256_cbc);

// ---- bags; attributes is what local_key_id gives, or nothing ----

// The attribute with a value of this type; for kBitString the number of unused bits (0) is put in front.
std::string local_key_id(const std::string &bytes, uint8_t tag = kOctetString);
std::string bag(int nid, const std::string &value, const std::string &attributes = "");
std::string certificate_bag(const Certificate &certificate, const std::string &attributes = "");
std::string key_bag(const Key &key, const std::string &attributes = "");
std::string shrouded_bag(const std::string &private_key_info, const std::string &attributes = "",
                         const std::string &password = "", const std::string &algorithm = "");
std::string safes_bag(const std::vector<std::string> &bags);
// A PKCS#8 structure that no key can be made from.
std::string broken_private_key();

// ---- contents and containers ----

std::string data_content(const std::vector<std::string> &bags);
std::string encrypted_content(const std::vector<std::string> &bags, const std::string &password = "",
                              const std::string &algorithm = "");
std::string container_der(const std::vector<std::string> &contents);
Container parse(const std::string &der);
Container container(const std::vector<std::string> &contents);

}  // namespace containers

#endif
