// Base64 as the agent's documents use it: the standard alphabet, white space anywhere, padding required.
#include <cstring>

#include "platform/platform.h"

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr int kNoDigit = -1;

bool is_space(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

int digit_value(char c) {
  const char *found = c == '\0' ? nullptr : strchr(kAlphabet, c);
  return found == nullptr ? kNoDigit : static_cast<int>(found - kAlphabet);
}

const char *skip_space(const char *text) {
  while (is_space(*text)) {
    ++text;
  }
  return text;
}

// Whether what follows the last digit ends a text with this many digits in its last group, whose unused bits are given.
bool is_good_end(const char *rest, int digits, uint32_t unused_bits) {
  const int padding = digits == 0 ? 0 : 4 - digits;
  if (digits == 1 || unused_bits != 0) {
    return false;
  }
  for (int i = 0; i < padding; ++i) {
    rest = skip_space(rest);
    if (*rest++ != '=') {
      return false;
    }
  }
  return *skip_space(rest) == '\0';
}

}  // namespace

int32_t miglib_b64_pton(const char *text, uint8_t *buffer, size_t size) {
  if (text == nullptr) {
    return -1;
  }
  const size_t room = buffer == nullptr ? 0 : (size > INT32_MAX ? INT32_MAX : size);
  size_t length = 0;
  uint32_t bits = 0;
  int bit_count = 0;
  int digits = 0;
  for (text = skip_space(text); digit_value(*text) != kNoDigit; text = skip_space(text + 1)) {
    bits = (bits << 6) | static_cast<uint32_t>(digit_value(*text));
    bit_count += 6;
    digits = (digits + 1) % 4;
    if (bit_count >= 8) {
      if (length == room) {
        return -1;
      }
      bit_count -= 8;
      buffer[length++] = static_cast<uint8_t>(bits >> bit_count);
      bits &= (1u << bit_count) - 1;
    }
  }
  return is_good_end(text, digits, bits) ? static_cast<int32_t>(length) : -1;
}
