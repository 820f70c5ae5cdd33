#include "tools/fabric/named_parts.h"

#include <string>

#include "tools/fabric/scenario.h"

namespace kelvane::fabric {

namespace {

using Json = nlohmann::ordered_json;

bool names_a_part(const Json &value) {
  return value.is_object() && value.size() == 1 && value.begin().key() == "part" && value.begin()->is_string();
}

void fill_in(Json &value, const Json &parts) {
  if (names_a_part(value)) {
    const auto name = value.begin()->get<std::string>();
    if (!parts.contains(name)) throw ScenarioError("no part is named \"" + name + "\"");
    value = parts[name];
  } else if (value.is_structured()) {
    for (Json &member : value) fill_in(member, parts);
  }
}

}  // namespace

Json with_named_parts(const Json &scenario) {
  Json out = scenario;
  if (!out.is_object() || !out.contains("parts")) return out;
  const Json parts = out["parts"];
  if (!parts.is_object()) throw ScenarioError("parts: expected an object");
  out.erase("parts");
  fill_in(out, parts);
  return out;
}

}  // namespace kelvane::fabric
