#include "tools/kelvanectl/output.h"

namespace kelvanectl {
namespace {

// Control characters from outside must not reach a terminal.
std::string printable(const std::string &text) {
  std::string clean;
  for (const char c : text) {
    clean += static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '?' : c;
  }
  return clean;
}

std::string scalar(const Json &value) {
  if (value.is_boolean()) {
    return value.get<bool>() ? "yes" : "no";
  }
  return value.is_string() ? printable(value.get<std::string>()) : value.dump();
}

std::string one_line(const Json &object) {
  std::string line;
  for (const auto &[name, value] : object.items()) {
    line += (line.empty() ? "" : ", ") + name + ": " + scalar(value);
  }
  return line;
}

std::string block(const Json &object) {
  std::string text;
  for (const auto &[name, value] : object.items()) {
    if (!value.is_array()) {
      text += name + ": " + scalar(value) + "\n";
      continue;
    }
    text += name + (value.empty() ? ": none\n" : ":\n");
    for (const Json &entry : value) {
      text += "  " + one_line(entry) + "\n";
    }
  }
  return text;
}

}  // namespace

std::string as_text(const Json &value) {
  if (!value.is_array()) {
    return value.is_object() && value.size() == 1 ? scalar(value.front()) + "\n" : block(value);
  }
  std::string text;
  for (const Json &entry : value) {
    text += (text.empty() ? "" : "\n") + block(entry);
  }
  return text;
}

std::string as_json(const Json &value) {
  return value.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace kelvanectl
