#include "tools/fabric/scenario.h"

#include <fstream>
#include <sstream>

#include "tools/fabric/made_texts.h"
#include "tools/fabric/named_parts.h"
#include "tools/fabric/scenario_parts.h"

namespace kelvane::fabric {

namespace {

Json parse_json(const std::string &text, const std::string &origin) {
  try {
    return Json::parse(text, nullptr, true, true);
  } catch (const Json::parse_error &error) {
    throw ScenarioError(origin + ": not JSON: " + error.what());
  }
}

}  // namespace

Scenario parse_scenario(const std::string &text, const std::string &origin) {
  Json document = parse_json(text, origin);
  Scenario scenario;
  try {
    document = with_made_texts(with_named_parts(document));
    JsonFields top(document, "");
    scenario.name = top.text("name", scenario.name);
    scenario.description = top.text("description", "");
    if (const Json *fabric = top.find("fabric")) read_fabric_part(*fabric, scenario);
    if (const Json *expect = top.find("expect")) read_expect_part(*expect, scenario);
  } catch (const ScenarioError &error) {
    throw ScenarioError(origin + ": " + error.what());
  }
  fill_defaults(scenario);
  return scenario;
}

Scenario read_scenario(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (!file || !(text << file.rdbuf())) throw ScenarioError(path + ": cannot be read");
  return parse_scenario(text.str(), path);
}

FaultSpec parse_fault_text(const std::string &text) {
  static size_t number = 0;
  return read_fault(parse_json(text, "fault"), "fault", 1000 + ++number);
}

}  // namespace kelvane::fabric
