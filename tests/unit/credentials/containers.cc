#include "tests/unit/credentials/containers.h"

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/sha.h>

#include <stdexcept>

#include "tests/support/base64.h"

namespace containers {

namespace {

void require(bool condition, const std::string &what) {
  if (!condition) {
    throw std::runtime_error(what);
  }
}

const unsigned char *bytes_of(const std::string &text) {
  return reinterpret_cast<const unsigned char *>(text.data());
}

// The DER form by one of the library's i2d functions.
template <typename Object, typename Encode>
std::string encoded(Object *object, Encode encode) {
  unsigned char *bytes = nullptr;
  const int length = encode(object, &bytes);
  require(length > 0, "an object has no DER form");
  std::string result(reinterpret_cast<char *>(bytes), static_cast<size_t>(length));
  OPENSSL_free(bytes);
  return result;
}

template <typename Write>
std::string pem_by(Write write) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new(BIO_s_mem()), BIO_free);
  require(write(bio.get()) == 1, "an object has no PEM form");
  char *text = nullptr;
  const long length = BIO_get_mem_data(bio.get(), &text);
  return std::string(text, static_cast<size_t>(length));
}

Key new_rsa_key() {
  const std::unique_ptr<BIGNUM, decltype(&BN_free)> exponent(BN_new(), BN_free);
  BN_set_word(exponent.get(), 65537);
  RSA *rsa = RSA_new();
  require(RSA_generate_key_ex(rsa, 1024, exponent.get(), nullptr) == 1, "no RSA key");
  EVP_PKEY *key = EVP_PKEY_new();
  EVP_PKEY_assign_RSA(key, rsa);
  return Key(key, EVP_PKEY_free);
}

std::string length_of(size_t length) {
  if (length < 0x80) {
    return std::string(1, static_cast<char>(length));
  }
  std::string digits;
  for (; length != 0; length >>= 8) {
    digits.insert(digits.begin(), static_cast<char>(length & 0xFF));
  }
  return static_cast<char>(0x80 + digits.size()) + digits;
}

std::string joined(const std::vector<std::string> &pieces) {
  std::string all;
  for (const std::string &piece : pieces) {
    all += piece;
  }
  return all;
}

std::string encrypted(const std::string &plain, const std::string &password, const std::string &algorithm) {
  const unsigned char *in = bytes_of(algorithm);
  X509_ALGOR *parsed = d2i_X509_ALGOR(nullptr, &in, static_cast<long>(algorithm.size()));
  unsigned char *out = nullptr;
  int length = 0;
  const bool done = parsed != nullptr &&
                    PKCS12_pbe_crypt(parsed, password.c_str(), static_cast<int>(password.size()), bytes_of(plain),
                                     static_cast<int>(plain.size()), &out, &length, 1) != nullptr;
  X509_ALGOR_free(parsed);
  require(done, "nothing was encrypted");
  std::string result(reinterpret_cast<char *>(out), static_cast<size_t>(length));
  OPENSSL_free(out);
  return result;
}

std::string algorithm_or_default(const std::string &algorithm) {
  return algorithm.empty() ? pbe_algorithm(NID_pbe_WithSHA1And3_Key_TripleDES_CBC, 2000) : algorithm;
}

std::string mpint(const BIGNUM *number) {
  std::string magnitude(static_cast<size_t>(BN_num_bytes(number)), '\0');
  BN_bn2bin(number, reinterpret_cast<unsigned char *>(magnitude.data()));
  if (!magnitude.empty() && (magnitude[0] & 0x80) != 0) {
    magnitude.insert(0, 1, '\0');
  }
  const size_t size = magnitude.size();
  return std::string{static_cast<char>(size >> 24), static_cast<char>(size >> 16), static_cast<char>(size >> 8),
                     static_cast<char>(size)} +
         magnitude;
}

}  // namespace

Key rsa_key(size_t number) {
  static std::vector<Key> keys;
  while (keys.size() <= number) {
    keys.push_back(new_rsa_key());
  }
  return keys[number];
}

Key ec_key() {
  EC_KEY *ec = EC_KEY_new_by_curve_name(NID_X9_62_prime256v1);
  require(ec != nullptr && EC_KEY_generate_key(ec) == 1, "no EC key");
  EVP_PKEY *key = EVP_PKEY_new();
  EVP_PKEY_assign_EC_KEY(key, ec);
  return Key(key, EVP_PKEY_free);
}

Key public_rsa_key(const std::string &modulus_hex, const std::string &exponent_hex) {
  BIGNUM *modulus = nullptr;
  BIGNUM *exponent = nullptr;
  BN_hex2bn(&modulus, modulus_hex.c_str());
  BN_hex2bn(&exponent, exponent_hex.c_str());
  RSA *rsa = RSA_new();
  require(RSA_set0_key(rsa, modulus, exponent, nullptr) == 1, "no RSA key");
  EVP_PKEY *key = EVP_PKEY_new();
  EVP_PKEY_assign_RSA(key, rsa);
  return Key(key, EVP_PKEY_free);
}

Certificate certificate(const Key &key, const std::string &name, long serial) {
  X509 *x509 = X509_new();
  Certificate owner(x509, X509_free);
  X509_set_version(x509, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(x509), serial);
  X509_gmtime_adj(X509_getm_notBefore(x509), 0);
  X509_gmtime_adj(X509_getm_notAfter(x509), 86400);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(x509), "CN", MBSTRING_ASC, bytes_of(name), -1, -1, 0);
  X509_set_issuer_name(x509, X509_get_subject_name(x509));
  X509_set_pubkey(x509, key.get());
  require(X509_sign(x509, rsa_key(0).get(), EVP_sha256()) > 0, "a certificate cannot be signed");
  return owner;
}

std::string der(const Certificate &certificate) {
  return encoded(certificate.get(), i2d_X509);
}

std::string der(const Key &key) {
  const std::unique_ptr<PKCS8_PRIV_KEY_INFO, decltype(&PKCS8_PRIV_KEY_INFO_free)> info(EVP_PKEY2PKCS8(key.get()),
                                                                                       PKCS8_PRIV_KEY_INFO_free);
  return encoded(info.get(), i2d_PKCS8_PRIV_KEY_INFO);
}

std::string pem(const Certificate &certificate) {
  return pem_by([&](BIO *bio) { return PEM_write_bio_X509(bio, certificate.get()); });
}

std::string pem(const Key &key) {
  return pem_by(
      [&](BIO *bio) { return PEM_write_bio_PKCS8PrivateKey(bio, key.get(), nullptr, nullptr, 0, nullptr, nullptr); });
}

std::string hex_upper(const std::string &bytes) {
  std::string text;
  char digits[3];
  for (const char byte : bytes) {
    snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(static_cast<uint8_t>(byte)));
    text += digits;
  }
  return text;
}

std::string thumbprint(const Certificate &certificate) {
  const std::string bytes = der(certificate);
  unsigned char digest[SHA_DIGEST_LENGTH];
  SHA1(bytes_of(bytes), bytes.size(), digest);
  return hex_upper(std::string(reinterpret_cast<char *>(digest), sizeof digest));
}

std::string ssh_key(const Key &key) {
  const BIGNUM *modulus = nullptr;
  const BIGNUM *exponent = nullptr;
  RSA_get0_key(EVP_PKEY_get0_RSA(key.get()), &modulus, &exponent, nullptr);
  return "ssh-rsa " + support::base64(std::string("\0\0\0\7ssh-rsa", 11) + mpint(exponent) + mpint(modulus));
}

bool same(const EVP_PKEY *a, const Key &b) {
  return a != nullptr && EVP_PKEY_cmp(a, b.get()) == 1;
}

bool same(const X509 *a, const Certificate &b) {
  return a != nullptr && X509_cmp(a, b.get()) == 0;
}

std::string tlv(uint8_t tag, const std::string &content) {
  return static_cast<char>(tag) + length_of(content.size()) + content;
}

std::string oid(int nid) {
  return encoded(OBJ_nid2obj(nid), i2d_ASN1_OBJECT);
}

std::string integer(uint64_t value) {
  std::string digits;
  do {
    digits.insert(digits.begin(), static_cast<char>(value & 0xFF));
    value >>= 8;
  } while (value != 0);
  if ((digits[0] & 0x80) != 0) {
    digits.insert(0, 1, '\0');
  }
  return tlv(2, digits);
}

std::string pbe_algorithm(int nid, int iterations) {
  return tlv(kSequence,
             oid(nid) + tlv(kSequence, tlv(kOctetString, "saltsalt") + integer(static_cast<uint64_t>(iterations))));
}

std::string pbkdf2_algorithm(int iterations, int prf, int cipher) {
  const std::string parameters = tlv(kOctetString, "saltsalt") + integer(static_cast<uint64_t>(iterations)) +
                                 (prf != NID_undef ? tlv(kSequence, oid(prf) + tlv(5, "")) : "");
  const std::string kdf = tlv(kSequence, oid(NID_id_pbkdf2) + tlv(kSequence, parameters));
  const std::string encryption = tlv(kSequence, oid(cipher) + tlv(kOctetString, "sixteen bytes IV"));
  return tlv(kSequence, oid(NID_pbes2) + tlv(kSequence, kdf + encryption));
}

std::string local_key_id(const std::string &bytes, uint8_t tag) {
  const std::string content = tag == kBitString ? '\0' + bytes : bytes;
  return tlv(kSequence, oid(NID_localKeyID) + tlv(kSet, tlv(tag, content)));
}

std::string bag(int nid, const std::string &value, const std::string &attributes) {
  return tlv(kSequence, oid(nid) + tlv(kContext0, value) + (attributes.empty() ? "" : tlv(kSet, attributes)));
}

std::string certificate_bag(const Certificate &certificate, const std::string &attributes) {
  const std::string value =
      tlv(kSequence, oid(NID_x509Certificate) + tlv(kContext0, tlv(kOctetString, der(certificate))));
  return bag(NID_certBag, value, attributes);
}

std::string key_bag(const Key &key, const std::string &attributes) {
  return bag(NID_keyBag, der(key), attributes);
}

std::string shrouded_bag(const std::string &private_key_info, const std::string &attributes,
                         const std::string &password, const std::string &algorithm) {
  const std::string used = algorithm_or_default(algorithm);
  const std::string value = tlv(kSequence, used + tlv(kOctetString, encrypted(private_key_info, password, used)));
  return bag(NID_pkcs8ShroudedKeyBag, value, attributes);
}

std::string safes_bag(const std::vector<std::string> &bags) {
  return bag(NID_safeContentsBag, tlv(kSequence, joined(bags)));
}

std::string broken_private_key() {
  const std::string algorithm = tlv(kSequence, oid(NID_rsaEncryption) + tlv(5, ""));
  return tlv(kSequence, integer(0) + algorithm + tlv(kOctetString, "no key"));
}

std::string data_content(const std::vector<std::string> &bags) {
  return tlv(kSequence, oid(NID_pkcs7_data) + tlv(kContext0, tlv(kOctetString, tlv(kSequence, joined(bags)))));
}

std::string encrypted_content(const std::vector<std::string> &bags, const std::string &password,
                              const std::string &algorithm) {
  const std::string used = algorithm_or_default(algorithm);
  const std::string info =
      tlv(kSequence, oid(NID_pkcs7_data) + used + tlv(0x80, encrypted(tlv(kSequence, joined(bags)), password, used)));
  return tlv(kSequence, oid(NID_pkcs7_encrypted) + tlv(kContext0, tlv(kSequence, integer(0) + info)));
}

std::string container_der(const std::vector<std::string> &contents) {
  const std::string safes = tlv(kSequence, joined(contents));
  return tlv(kSequence, integer(3) + tlv(kSequence, oid(NID_pkcs7_data) + tlv(kContext0, tlv(kOctetString, safes))));
}

Container parse(const std::string &der) {
  const unsigned char *in = bytes_of(der);
  PKCS12 *parsed = d2i_PKCS12(nullptr, &in, static_cast<long>(der.size()));
  require(parsed != nullptr, "no container");
  return Container(parsed, PKCS12_free);
}

Container container(const std::vector<std::string> &contents) {
  return parse(container_der(contents));
}

}  // namespace containers
