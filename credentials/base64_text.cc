#include "credentials/base64_text.h"

#include <openssl/evp.h>
#include <stdlib.h>
#include <string.h>

namespace kelvane {

namespace {

// The library counts in int: this many bytes still have a text that it can count.
constexpr size_t kMaxBytes = size_t{1} << 30;

}  // namespace

int32_t base64_text(Text *out, const char *prefix, const uint8_t *bytes, size_t length) {
  if (length == 0 || length > kMaxBytes) {
    return -1;
  }
  const size_t prefix_length = strlen(prefix);
  char *text = static_cast<char *>(malloc(prefix_length + (length + 2) / 3 * 4 + 1));
  if (text == nullptr) {
    return -1;
  }
  memcpy(text, prefix, prefix_length);
  EVP_EncodeBlock(reinterpret_cast<unsigned char *>(text + prefix_length), bytes, static_cast<int>(length));
  *out = Text::adopt(text);
  return 0;
}

}  // namespace kelvane
