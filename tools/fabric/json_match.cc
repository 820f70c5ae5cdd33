#include "tools/fabric/json_match.h"

#include <nlohmann/json.hpp>

#include "tools/fabric/bytes.h"
#include "tools/fabric/storage_access.h"

namespace kelvane::fabric {

namespace {

using Json = nlohmann::ordered_json;

std::string dumped(const Json &value) {
  std::string text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
  return text.size() > 300 ? text.substr(0, 300) + "..." : text;
}

std::string differs(const std::string &path, const Json &expected, const Json &came) {
  return path + ": expected " + dumped(expected) + ", came " + dumped(came);
}

struct Wildcard {
  const char *text;
  bool (*fits)(const Json &value);
};

constexpr Wildcard kWildcards[] = {
    {"<any>", [](const Json &) { return true; }},
    {"<text>", [](const Json &value) { return value.is_string(); }},
    {"<n>", [](const Json &value) { return value.is_number_integer(); }},
    {"<time>", [](const Json &value) { return value.is_string() && is_timestamp(value.get<std::string>()); }},
};

const Wildcard *wildcard_of(const Json &expected) {
  for (const Wildcard &wildcard : kWildcards)
    if (expected.is_string() && expected.get<std::string>() == wildcard.text) return &wildcard;
  return nullptr;
}

std::string keys_of(const Json &object) {
  std::string out;
  for (const auto &member : object.items()) out += (out.empty() ? "" : ", ") + member.key();
  return "[" + out + "]";
}

std::string compare(const Json &expected, const Json &came, const std::string &path, Members members);

std::string compare_objects(const Json &expected, const Json &came, const std::string &path, Members members) {
  if (members == Members::kAll && keys_of(expected) != keys_of(came))
    return path + ": expected the members " + keys_of(expected) + ", came " + keys_of(came);
  for (const auto &member : expected.items()) {
    const std::string where = path + "." + member.key();
    if (came.find(member.key()) == came.end()) return where + ": expected, but there is none";
    std::string why = compare(member.value(), came[member.key()], where, members);
    if (!why.empty()) return why;
  }
  return "";
}

std::string compare(const Json &expected, const Json &came, const std::string &path, Members members) {
  if (const Wildcard *wildcard = wildcard_of(expected))
    return wildcard->fits(came) ? "" : differs(path, expected, came);
  if (expected.is_object() && came.is_object()) return compare_objects(expected, came, path, members);
  if (!expected.is_array() || !came.is_array() || expected.size() != came.size())
    return expected == came && expected.is_number_float() == came.is_number_float() ? ""
                                                                                    : differs(path, expected, came);
  for (size_t i = 0; i < expected.size(); i++) {
    std::string why = compare(expected[i], came[i], path + "[" + std::to_string(i) + "]", members);
    if (!why.empty()) return why;
  }
  return "";
}

}  // namespace

std::string json_mismatch(const std::string &expected, const std::string &text, Members members) {
  Json document = Json::parse(text, nullptr, false);
  if (document.is_discarded()) return "expected JSON, came " + in_quotes(text);
  return compare(Json::parse(expected, nullptr, false), document, "$", members);
}

}  // namespace kelvane::fabric
