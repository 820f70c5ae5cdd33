#include "platform/reference/ssh_key.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "platform/platform.h"

namespace kelvane::reference {
namespace {

constexpr size_t kLongestText = 16384;
constexpr size_t kFewestRsaBits = 1024;
constexpr size_t kMostRsaBits = 16384;
constexpr size_t kLongestExponent = 32;

// The inside of a key (RFC 4253): fields of a 4-byte big-endian length and that many bytes.
class Fields {
 public:
  explicit Fields(std::string_view bytes) : rest_(bytes) {}

  std::optional<std::string_view> next() {
    if (rest_.size() < 4) {
      return std::nullopt;
    }
    size_t length = 0;
    for (int i = 0; i < 4; ++i) {
      length = (length << 8) | static_cast<unsigned char>(rest_[static_cast<size_t>(i)]);
    }
    rest_.remove_prefix(4);
    if (length > rest_.size()) {
      return std::nullopt;
    }
    const std::string_view field = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return field;
  }

  bool at_end() const { return rest_.empty(); }

 private:
  std::string_view rest_;
};

// The magnitude of a positive number in its shortest form; empty for anything else.
std::string_view positive(std::optional<std::string_view> field) {
  if (!field || field->empty() || (field->front() & 0x80) != 0) {
    return {};
  }
  if (field->front() != 0) {
    return *field;
  }
  field->remove_prefix(1);
  return !field->empty() && (field->front() & 0x80) != 0 ? *field : std::string_view();
}

bool is_odd(std::string_view magnitude) {
  return !magnitude.empty() && (magnitude.back() & 1) != 0;
}

// Of a magnitude that is not empty; its first byte is not zero.
size_t bits(std::string_view magnitude) {
  return 8 * magnitude.size() - static_cast<size_t>(std::countl_zero(static_cast<uint8_t>(magnitude.front())));
}

bool is_rsa(Fields &fields, std::string_view, size_t) {
  const std::string_view exponent = positive(fields.next());
  const std::string_view modulus = positive(fields.next());
  return is_odd(exponent) && exponent != "\x01" && exponent.size() <= kLongestExponent && is_odd(modulus) &&
         bits(modulus) >= kFewestRsaBits && bits(modulus) <= kMostRsaBits;
}

bool is_ed25519(Fields &fields, std::string_view, size_t length) {
  const std::optional<std::string_view> point = fields.next();
  return point && point->size() == length;
}

bool is_ecdsa(Fields &fields, std::string_view curve, size_t length) {
  const std::optional<std::string_view> name = fields.next();
  const std::optional<std::string_view> point = fields.next();
  return name && *name == curve && point && point->size() == length && point->front() == 4;
}

struct Kind {
  std::string_view type;
  bool (*check)(Fields &fields, std::string_view curve, size_t length);
  std::string_view curve;
  size_t length;  // of the public point, in bytes
};

constexpr Kind kKinds[] = {
    {.type = "ssh-rsa", .check = is_rsa, .curve = {}, .length = 0},
    {.type = "ssh-ed25519", .check = is_ed25519, .curve = {}, .length = 32},
    {.type = "ecdsa-sha2-nistp256", .check = is_ecdsa, .curve = "nistp256", .length = 65},
    {.type = "ecdsa-sha2-nistp384", .check = is_ecdsa, .curve = "nistp384", .length = 97},
    {.type = "ecdsa-sha2-nistp521", .check = is_ecdsa, .curve = "nistp521", .length = 133},
};

bool is_key_of_type(std::string_view type, std::string_view bytes) {
  for (const Kind &kind : kKinds) {
    if (kind.type == type) {
      Fields fields(bytes);
      const std::optional<std::string_view> inner = fields.next();
      return inner && *inner == type && kind.check(fields, kind.curve, kind.length) && fields.at_end();
    }
  }
  return false;
}

constexpr std::string_view kBlanks = " \t";

std::string_view take_word(std::string_view &rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
  const std::string_view word = rest.substr(0, rest.find_first_of(kBlanks));
  rest.remove_prefix(word.size());
  return word;
}

std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t\r\n");
  const size_t last = text.find_last_not_of(" \t\r\n");
  return first == std::string_view::npos ? std::string_view() : text.substr(first, last - first + 1);
}

std::optional<std::string> decode(const std::string &base64) {
  std::string bytes(base64.size(), '\0');
  const int32_t length = miglib_b64_pton(base64.c_str(), reinterpret_cast<uint8_t *>(bytes.data()), bytes.size());
  if (length < 0) {
    return std::nullopt;
  }
  bytes.resize(static_cast<size_t>(length));
  return bytes;
}

bool is_one_line(std::string_view text) {
  for (const char c : text) {
    if ((static_cast<unsigned char>(c) < ' ' && c != '\t') || c == 0x7f) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::optional<std::string> parse_ssh_key(const char *text) {
  if (text == nullptr || strnlen(text, kLongestText) == kLongestText) {
    return std::nullopt;
  }
  std::string_view rest = trimmed(text);
  if (!is_one_line(rest)) {
    return std::nullopt;
  }
  const std::string type(take_word(rest));
  const std::string base64(take_word(rest));
  const std::string_view comment = trimmed(rest);
  const std::optional<std::string> bytes = decode(base64);
  if (!bytes || !is_key_of_type(type, *bytes)) {
    return std::nullopt;
  }
  return type + " " + base64 + (comment.empty() ? "" : " ") + std::string(comment);
}

}  // namespace kelvane::reference
