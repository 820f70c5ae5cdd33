#include "tools/fabric/json_match.h"

#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "tools/fabric/bytes.h"
#include "tools/fabric/storage_access.h"

namespace kelvane::fabric {

namespace {

using Json = nlohmann::ordered_json;

std::string dumped(const Json &value) {
  std::string text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
  return text.size() > 300 ? text.substr(0, 300) + "..." : text;
}

using Mismatch = std::optional<JsonMismatch>;

Mismatch differs(const std::string &path, const Json &expected, const Json &came) {
  return JsonMismatch{path, dumped(expected), dumped(came)};
}

bool is_digits(const Json &value) {
  return value.is_string() && decimal_number(value.get<std::string>());
}

struct Wildcard {
  const char *text;
  bool (*fits)(const Json &value);
};

constexpr Wildcard kWildcards[] = {
    {"<any>", [](const Json &) { return true; }},
    {"<text>", [](const Json &value) { return value.is_string(); }},
    {"<n>", [](const Json &value) { return value.is_number_integer(); }},
    {"<digits>", is_digits},
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

Mismatch compare(const Json &expected, const Json &came, const std::string &path, Members members);

Mismatch compare_objects(const Json &expected, const Json &came, const std::string &path, Members members) {
  if (members == Members::kAll && keys_of(expected) != keys_of(came))
    return JsonMismatch{path, "the members " + keys_of(expected), keys_of(came)};
  for (const auto &member : expected.items()) {
    const std::string where = path + "." + member.key();
    if (came.find(member.key()) == came.end()) return JsonMismatch{where, dumped(member.value()), "nothing"};
    if (Mismatch found = compare(member.value(), came[member.key()], where, members)) return found;
  }
  return std::nullopt;
}

Mismatch compare_lists(const Json &expected, const Json &came, const std::string &path, Members members) {
  const bool each = expected.size() == 2 && expected[0] == "<each>";
  if (!each && expected.size() != came.size()) return differs(path, expected, came);
  for (size_t i = 0; i < came.size(); i++)
    if (Mismatch found = compare(expected[each ? 1 : i], came[i], path + "[" + std::to_string(i) + "]", members))
      return found;
  return std::nullopt;
}

Mismatch compare(const Json &expected, const Json &came, const std::string &path, Members members) {
  if (const Wildcard *wildcard = wildcard_of(expected))
    return wildcard->fits(came) ? std::nullopt : differs(path, expected, came);
  if (expected.is_object() && came.is_object()) return compare_objects(expected, came, path, members);
  if (expected.is_array() && came.is_array()) return compare_lists(expected, came, path, members);
  const bool same = expected == came && expected.is_number_float() == came.is_number_float();
  return same ? std::nullopt : differs(path, expected, came);
}

// The document; `twice` is the name of a member that an object has twice.
Json parse(const std::string &text, std::optional<std::string> &twice) {
  std::vector<std::set<std::string>> open;
  auto look = [&](int, Json::parse_event_t event, Json &value) {
    if (event == Json::parse_event_t::object_start) open.emplace_back();
    if (event == Json::parse_event_t::object_end) open.pop_back();
    if (event == Json::parse_event_t::key && !open.back().insert(value.get<std::string>()).second)
      twice = value.get<std::string>();
    return true;
  };
  return Json::parse(text, look, false);
}

}  // namespace

std::optional<JsonMismatch> find_json_mismatch(const std::string &expected, const std::string &text, Members members) {
  std::optional<std::string> twice;
  const Json document = parse(text, twice);
  if (document.is_discarded()) return JsonMismatch{"", "JSON", in_quotes(text)};
  if (twice) return JsonMismatch{"", "every member once", in_quotes(*twice) + " twice"};
  return compare(Json::parse(expected, nullptr, false), document, "$", members);
}

std::string json_mismatch(const std::string &expected, const std::string &text, Members members) {
  const Mismatch found = find_json_mismatch(expected, text, members);
  if (!found) return "";
  return found->where + (found->where.empty() ? "" : ": ") + "expected " + found->expected + ", came " + found->came;
}

}  // namespace kelvane::fabric
