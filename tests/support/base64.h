// Base64 as OpenSSL writes it, on one line, for tests that make what the agent or the platform reads.
#ifndef KELVANE_TESTS_SUPPORT_BASE64_H
#define KELVANE_TESTS_SUPPORT_BASE64_H

#include <openssl/evp.h>

#include <string>

namespace support {

inline std::string base64(const std::string &bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text.data()),
                      reinterpret_cast<const unsigned char *>(bytes.data()), static_cast<int>(bytes.size()));
  text.resize(static_cast<size_t>(length));
  return text;
}

}  // namespace support

#endif
