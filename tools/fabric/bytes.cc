#include "tools/fabric/bytes.h"

#include <openssl/evp.h>

#include <algorithm>

namespace kelvane::fabric {

std::string base64_encode(std::string_view bytes) {
  std::string out(4 * ((bytes.size() + 2) / 3) + 1, '\0');
  int length = EVP_EncodeBlock(reinterpret_cast<unsigned char *>(out.data()),
                               reinterpret_cast<const unsigned char *>(bytes.data()), static_cast<int>(bytes.size()));
  out.resize(static_cast<size_t>(length));
  return out;
}

std::optional<std::string> base64_decode(std::string_view text) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  size_t padding = text.size() - std::min(text.size(), text.find_last_not_of('=') + 1);
  if (text.size() % 4 != 0 || padding > 2) return std::nullopt;
  if (text.substr(0, text.size() - padding).find_first_not_of(kDigits) != std::string_view::npos) return std::nullopt;
  std::string out(text.size() / 4 * 3 + 1, '\0');
  int length = EVP_DecodeBlock(reinterpret_cast<unsigned char *>(out.data()),
                               reinterpret_cast<const unsigned char *>(text.data()), static_cast<int>(text.size()));
  if (length < 0) return std::nullopt;
  out.resize(static_cast<size_t>(length) - padding);
  return out;
}

std::string in_lines(std::string_view text, size_t length, std::string_view indent) {
  if (length == 0) length = std::max<size_t>(text.size(), 1);
  std::string out;
  for (size_t at = 0; at < text.size(); at += length) {
    if (at != 0) out += '\n';
    out += indent;
    out += text.substr(at, length);
  }
  return out;
}

std::string xml_escape(std::string_view text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&apos;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string xml_attribute(const std::string &name, std::string_view value) {
  return " " + name + "=\"" + xml_escape(value) + "\"";
}

std::string percent_decode(std::string_view text) {
  auto digit = [](char c) {
    return c >= '0' && c <= '9' ? c - '0' : (c | 32) >= 'a' && (c | 32) <= 'f' ? (c | 32) - 'a' + 10 : -1;
  };
  std::string out;
  for (size_t at = 0; at < text.size(); at++) {
    bool triple = text[at] == '%' && at + 2 < text.size() && digit(text[at + 1]) >= 0 && digit(text[at + 2]) >= 0;
    out += triple ? static_cast<char>(digit(text[at + 1]) * 16 + digit(text[at + 2])) : text[at];
    if (triple) at += 2;
  }
  return out;
}

std::optional<int64_t> decimal_number(std::string_view text) {
  if (text.empty() || text.size() > 18 || text.find_first_not_of("0123456789") != std::string_view::npos)
    return std::nullopt;
  return std::stoll(std::string(text));
}

std::string hex_upper(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string out;
  for (char c : bytes) {
    auto byte = static_cast<unsigned char>(c);
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
  }
  return out;
}

bool glob_match(std::string_view pattern, std::string_view text) {
  size_t p = 0, t = 0, star = std::string_view::npos, resume = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = t;
    } else if (p < pattern.size() && pattern[p] == text[t]) {
      p++, t++;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++resume;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

bool is_utf8(std::string_view text) {
  for (size_t at = 0; at < text.size();) {
    auto lead = static_cast<unsigned char>(text[at++]);
    size_t more = lead < 0x80 ? 0 : lead >= 0xC2 && lead < 0xE0 ? 1 : lead >= 0xE0 && lead < 0xF0 ? 2 : 3;
    if (more == 3 && (lead < 0xF0 || lead > 0xF4)) return false;
    for (size_t i = 0; i < more; i++, at++) {
      if (at >= text.size()) return false;
      auto next = static_cast<unsigned char>(text[at]);
      bool first = i == 0;
      unsigned low = first && lead == 0xE0 ? 0xA0 : first && lead == 0xF0 ? 0x90 : 0x80;
      unsigned high = first && lead == 0xED ? 0x9F : first && lead == 0xF4 ? 0x8F : 0xBF;
      if (next < low || next > high) return false;
    }
  }
  return true;
}

std::string in_quotes(std::string_view text) {
  std::string out(text.substr(0, 200));
  std::replace_if(
      out.begin(), out.end(), [](char c) { return static_cast<unsigned char>(c) < 32 || c == 127; }, '?');
  return '"' + out + (text.size() > 200 ? "...\"" : "\"");
}

}  // namespace kelvane::fabric
