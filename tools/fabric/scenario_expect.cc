#include <pugixml.hpp>

#include "tools/fabric/scenario_parts.h"

namespace kelvane::fabric {

namespace {

constexpr int64_t kMost = 1000000;

// Headers as a list of [name, value] pairs.
std::vector<Header> read_header_pairs(JsonFields &fields, const std::string &key) {
  std::vector<Header> out;
  for (const Json *pair : fields.list(key)) {
    std::string path = fields.path_of(key) + "[" + std::to_string(out.size()) + "]";
    if (!pair->is_array() || pair->size() != 2) throw ScenarioError(path + ": expected [name, value]");
    out.push_back({text_of((*pair)[0], path), text_of((*pair)[1], path)});
  }
  return out;
}

std::vector<std::pair<std::string, std::string>> read_xpath(JsonFields &fields) {
  std::vector<std::pair<std::string, std::string>> out;
  const Json *value = fields.find("xpath");
  if (value == nullptr) return out;
  JsonFields members(*value, fields.path_of("xpath"));
  for (const auto &member : value->items()) {
    try {
      pugi::xpath_query query(member.key().c_str());
    } catch (const pugi::xpath_exception &error) {
      throw ScenarioError(members.path_of(member.key()) + ": not an XPath expression: " + error.what());
    }
    out.emplace_back(member.key(), text_of(member.value(), members.path_of(member.key())));
  }
  return out;
}

RequestMatcher read_matcher(const Json &value, const std::string &path, size_t number) {
  JsonFields fields(value, path);
  RequestMatcher matcher;
  matcher.method = fields.optional_text("method");
  matcher.target = fields.optional_text("target");
  matcher.name = fields.text("name", "request " + std::to_string(number + 1) + " (" + matcher.method.value_or("any") +
                                         " " + matcher.target.value_or("*") + ")");
  if (fields.find("headers") != nullptr) matcher.headers = read_header_pairs(fields, "headers");
  matcher.headers_include = read_header_pairs(fields, "headersInclude");
  matcher.body = fields.optional_text("body");
  matcher.body_contains = fields.texts("bodyContains");
  matcher.xpath = read_xpath(fields);
  matcher.status = fields.optional_number("status", 0, 599);
  matcher.fault = fields.optional_text("fault");
  matcher.count = fields.optional_number("count", 0, kMost);
  matcher.at_least = fields.optional_number("atLeast", 0, kMost);
  matcher.at_most = fields.optional_number("atMost", 0, kMost);
  fields.finish();
  return matcher;
}

void check_counts(const ExpectSpec &expect) {
  if (expect.order == "unordered") return;
  for (const RequestMatcher &matcher : expect.requests)
    if (matcher.count || matcher.at_least || matcher.at_most)
      throw ScenarioError("expect.requests: " + matcher.name + ": counts are for the order \"unordered\"");
}

HealthSpec read_health(const Json &value, const std::string &path) {
  if (value.is_string()) return {value.get<std::string>(), std::nullopt, std::nullopt};
  JsonFields fields(value, path);
  HealthSpec health{fields.required_text("state"), fields.optional_text("substatus"),
                    fields.optional_text("description")};
  fields.finish();
  return health;
}

}  // namespace

void read_expect_part(const Json &value, Scenario &scenario) {
  JsonFields fields(value, "expect");
  ExpectSpec &expect = scenario.expect;
  expect.order = fields.choice("requestOrder", expect.order, {"exact", "ordered", "unordered"});
  expect.requests_given = fields.find("requests") != nullptr;
  for (const Json *matcher : fields.list("requests")) {
    size_t number = expect.requests.size();
    expect.requests.push_back(read_matcher(*matcher, "expect.requests[" + std::to_string(number) + "]", number));
  }
  check_counts(expect);
  if (fields.find("health") != nullptr) {
    expect.health.emplace();
    for (const Json *state : fields.list("health"))
      expect.health->push_back(read_health(*state, "expect.health[" + std::to_string(expect.health->size()) + "]"));
  }
  if (fields.find("roleProperties") != nullptr) expect.thumbprints = fields.texts("roleProperties");
  expect.goal_states = fields.optional_number("goalStates", 0, kMost);
  expect.violations = fields.number("violations", 0, 0, kMost);
  read_upload_expectations(fields, storage_host(scenario.storage, scenario.goal_states), expect);
}

}  // namespace kelvane::fabric
