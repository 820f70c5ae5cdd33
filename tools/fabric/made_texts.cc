#include "tools/fabric/made_texts.h"

#include <string>

#include "tools/fabric/bytes.h"
#include "tools/fabric/scenario.h"

namespace kelvane::fabric {

namespace {

using Json = nlohmann::ordered_json;

// The longest text that can be made.
constexpr int64_t kLongest = 64 << 20;

[[noreturn]] void wrong(const Json &form) {
  throw ScenarioError(form.dump().substr(0, 200) +
                      ": expected {\"repeat\": [TEXT, N]}, {\"join\": [TEXT, ...]} or {\"base64Of\": VALUE}");
}

std::string repeated(const Json &form, const Json &value) {
  if (!value.is_array() || value.size() != 2 || !value[0].is_string() || !value[1].is_number_unsigned()) wrong(form);
  const auto text = value[0].get<std::string>();
  const auto times = value[1].get<int64_t>();
  if (times > kLongest / static_cast<int64_t>(text.size() + 1)) wrong(form);
  std::string out;
  for (int64_t i = 0; i < times; i++) out += text;
  return out;
}

std::string joined(const Json &form, const Json &value) {
  if (!value.is_array()) wrong(form);
  std::string out;
  for (const Json &piece : value) {
    if (!piece.is_string()) wrong(form);
    out += piece.get<std::string>();
  }
  return out;
}

}  // namespace

Json with_made_texts(const Json &value) {
  if (!value.is_structured()) return value;
  Json out = value;
  for (Json &member : out) member = with_made_texts(member);
  if (!out.is_object() || out.size() != 1) return out;
  const Json &only = out.begin().value();
  if (out.begin().key() == "repeat") return repeated(value, only);
  if (out.begin().key() == "join") return joined(value, only);
  if (out.begin().key() == "base64Of") return base64_encode(only.is_string() ? only.get<std::string>() : only.dump());
  return out;
}

}  // namespace kelvane::fabric
