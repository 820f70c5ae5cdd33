// The texts that the reference platform reads: a key that it takes as an SSH key is stored in a form that it takes
// again unchanged, and base64 that it decodes is what OpenSSL encodes of the result.
#include <algorithm>
#include <vector>

#include "platform/platform.h"
#include "platform/reference/ssh_key.h"
#include "tests/fuzz/properties.h"
#include "tests/support/base64.h"

namespace {

void try_base64(std::string text) {
  std::vector<uint8_t> bytes(text.size() + 1);
  const int32_t length = miglib_b64_pton(text.c_str(), bytes.data(), text.size());
  fuzz::require(length >= -1 && length <= static_cast<int32_t>(text.size() * 3 / 4), "the length is that of base64");
  if (length >= 0) {
    const auto is_space = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    text.erase(std::remove_if(text.begin(), text.end(), is_space), text.end());
    const std::string decoded(reinterpret_cast<char *>(bytes.data()), static_cast<size_t>(length));
    fuzz::require(support::base64(decoded) == text, "what is decoded encodes to the text without white space");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string text = fuzz::text_of(data, size);
  try_base64(text);
  if (const auto key = kelvane::reference::parse_ssh_key(text.c_str())) {
    fuzz::require(kelvane::reference::parse_ssh_key(key->c_str()) == key, "a stored key is taken again unchanged");
    fuzz::require(key->find('\n') == std::string::npos, "a stored key is one line");
  }
  return 0;
}
