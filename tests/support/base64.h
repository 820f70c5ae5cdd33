// Base64 as OpenSSL writes it, for tests that make what the agent or the platform reads.
#ifndef KELVANE_TESTS_SUPPORT_BASE64_H
#define KELVANE_TESTS_SUPPORT_BASE64_H

#include <openssl/evp.h>

#include <string>

namespace support {

// On one line.
inline std::string base64(const std::string &bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text.data()),
                      reinterpret_cast<const unsigned char *>(bytes.data()), static_cast<int>(bytes.size()));
  text.resize(static_cast<size_t>(length));
  return text;
}

// A text as the documents hold it: lines of 64 characters at the most, each with its end.
inline std::string in_lines(const std::string &text) {
  std::string lines;
  for (size_t at = 0; at < text.size(); at += 64) {
    lines += text.substr(at, 64) + '\n';
  }
  return lines;
}

}  // namespace support

#endif
