#include "tools/sandbox/text_forms.h"

#include <cstdio>

namespace sandbox {

std::string escaped(const std::string &text) {
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    char code[8];
    if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c == '\\') {
      out += "\\\\";
    } else if (byte < 0x20 || byte == 0x7f) {
      std::snprintf(code, sizeof code, "\\x%02x", byte);
      out += code;
    } else {
      out += c;
    }
  }
  return out;
}

std::string text_of(const char *text) {
  return text != nullptr ? text : "";
}

std::string quoted(const char *text) {
  if (text == nullptr) {
    return "null";
  }
  std::string out = "\"";
  for (const char c : escaped(text)) {
    out += c == '"' ? "\\\"" : std::string(1, c);
  }
  return out + "\"";
}

}  // namespace sandbox
