#include "tools/fabric/expectations.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>

#include "tools/fabric/bytes.h"
#include "tools/fabric/expectations_uploads.h"

namespace kelvane::fabric {

namespace {

std::string line_of(const Exchange &exchange) {
  return "#" + std::to_string(exchange.number) + " " + exchange.request.method + " " + exchange.request.target;
}

std::string differs(const std::string &what, const std::string &expected, const std::string &came) {
  return what + ": expected " + in_quotes(expected) + ", came " + in_quotes(came);
}

std::string header_text(const Header &header) {
  return header.name + ": " + header.value;
}

std::string headers_mismatch(const std::vector<Header> &expected, const std::vector<Header> &came) {
  for (size_t i = 0; i < std::max(expected.size(), came.size()); i++) {
    std::string number = "header " + std::to_string(i + 1);
    if (i >= came.size()) return number + ": expected " + in_quotes(header_text(expected[i])) + ", came no more";
    if (i >= expected.size()) return number + ": expected no more, came " + in_quotes(header_text(came[i]));
    bool same = expected[i].name == came[i].name && (expected[i].value == "*" || expected[i].value == came[i].value);
    if (!same) return differs(number, header_text(expected[i]), header_text(came[i]));
  }
  return "";
}

std::string included_mismatch(const std::vector<Header> &expected, const std::vector<Header> &came) {
  for (const Header &header : expected) {
    const std::string *value = find_header(came, header.name);
    if (value == nullptr) return "header " + header.name + ": expected, but there is none";
    if (header.value != "*" && header.value != *value) return differs("header " + header.name, header.value, *value);
  }
  return "";
}

std::string contents_mismatch(const RequestMatcher &matcher, const std::string &body) {
  if (matcher.body && *matcher.body != body) return differs("body", *matcher.body, body);
  for (const std::string &part : matcher.body_contains)
    if (body.find(part) == std::string::npos)
      return "body: expected to hold " + in_quotes(part) + ", came " + in_quotes(body);
  return "";
}

std::string xpath_mismatch(const RequestMatcher &matcher, const std::string &body) {
  if (matcher.xpath.empty()) return "";
  pugi::xml_document document;
  if (!document.load_buffer(body.data(), body.size())) return "body: expected XML, came " + in_quotes(body);
  for (const auto &[expression, expected] : matcher.xpath) {
    std::string came = pugi::xpath_query(expression.c_str()).evaluate_string(document);
    if (came != expected) return differs(expression, expected, came);
  }
  return "";
}

// Follows the order: each matcher takes the next request that fits; other requests may stand between.
Finding ordered(const std::vector<RequestMatcher> &matchers, const std::vector<const Exchange *> &requests) {
  Finding finding{.name = "requests, in order"};
  size_t at = 0;
  for (const RequestMatcher &matcher : matchers) {
    const size_t start = at;
    while (at < requests.size() && !mismatch(matcher, *requests[at]).empty()) at++;
    if (at++ < requests.size()) continue;
    finding.explanation = matcher.name + ": no request fits; " +
                          (start >= requests.size() ? "none was left"
                                                    : "the first of those left was " + line_of(*requests[start]) +
                                                          ": " + mismatch(matcher, *requests[start]));
    return finding;
  }
  finding.held = true;
  finding.explanation = std::to_string(matchers.size()) + " requests came as expected";
  return finding;
}

Finding exact(const std::vector<RequestMatcher> &matchers, const std::vector<const Exchange *> &requests) {
  Finding finding{.name = "requests, exactly"};
  for (size_t i = 0; i < std::max(matchers.size(), requests.size()); i++) {
    std::string why;
    if (i >= requests.size())
      why = matchers[i].name + ": expected, but no more requests came";
    else if (i >= matchers.size())
      why = line_of(*requests[i]) + ": came, but no more requests were expected";
    else if (why = mismatch(matchers[i], *requests[i]); !why.empty())
      why = matchers[i].name + ": " + line_of(*requests[i]) + " does not fit: " + why;
    if (why.empty()) continue;
    finding.explanation = why;
    return finding;
  }
  finding.held = true;
  finding.explanation = std::to_string(matchers.size()) + " requests came as expected";
  return finding;
}

Finding counted(const RequestMatcher &matcher, const std::vector<const Exchange *> &requests) {
  auto fits = [&](const Exchange *exchange) { return mismatch(matcher, *exchange).empty(); };
  int64_t came = std::count_if(requests.begin(), requests.end(), fits);
  int64_t low = matcher.count.value_or(matcher.at_least.value_or(matcher.at_most ? 0 : 1));
  int64_t high = matcher.count.value_or(matcher.at_most.value_or(INT64_MAX));
  Finding finding{.name = matcher.name, .held = came >= low && came <= high};
  finding.explanation = "expected " + std::to_string(low) + (high == INT64_MAX ? " or more" : " to ") +
                        (high == INT64_MAX ? "" : std::to_string(high)) + ", came " + std::to_string(came);
  if (!finding.held && came < low && !requests.empty())
    finding.explanation +=
        "; the last request was " + line_of(*requests.back()) + ": " + mismatch(matcher, *requests.back());
  return finding;
}

std::string health_text(const std::string &state, const std::string &substatus, const std::string &description) {
  std::string out = state;
  if (!substatus.empty()) out += "/" + substatus;
  if (!description.empty()) out += "/" + description;
  return out;
}

Finding health(const std::vector<HealthSpec> &expected, const std::vector<HealthReport> &came) {
  std::string wanted, found;
  bool same = expected.size() == came.size();
  for (size_t i = 0; i < expected.size(); i++) {
    const HealthSpec &spec = expected[i];
    wanted +=
        (i == 0 ? "" : ", ") + health_text(spec.state, spec.substatus.value_or(""), spec.description.value_or(""));
    same = same && spec.state == came[i].state && spec.substatus.value_or(came[i].substatus) == came[i].substatus &&
           spec.description.value_or(came[i].description) == came[i].description;
  }
  for (const HealthReport &report : came)
    found += (found.empty() ? "" : ", ") + health_text(report.state, report.substatus, report.description);
  return {"health", same, "expected " + in_quotes(wanted) + ", came " + in_quotes(found)};
}

Finding thumbprints(const std::vector<std::string> &expected, const std::vector<std::string> &came) {
  std::string wanted, found;
  for (const std::string &one : expected) wanted += (wanted.empty() ? "" : ", ") + in_quotes(one);
  for (const std::string &one : came) found += (found.empty() ? "" : ", ") + in_quotes(one);
  return {"roleProperties", expected == came, "expected [" + wanted + "], came [" + found + "]"};
}

Finding violations(int64_t allowed, const std::deque<Exchange> &exchanges) {
  int64_t came = 0;
  std::string all;
  for (const Exchange &exchange : exchanges) {
    if (exchange.judgement.held()) continue;
    came++;
    all += "; " + line_of(exchange) + ": " + exchange.judgement.explanation();
    all.erase(all.find_last_not_of('\n') + 1);
  }
  return {"violations", came == allowed,
          "expected " + std::to_string(allowed) + ", came " + std::to_string(came) + all};
}

void judge_requests(const ExpectSpec &expect, const std::vector<const Exchange *> &requests, Verdict &verdict) {
  if (expect.order == "exact") {
    verdict.findings.push_back(exact(expect.requests, requests));
  } else if (expect.order == "ordered") {
    verdict.findings.push_back(ordered(expect.requests, requests));
  } else {
    for (const RequestMatcher &matcher : expect.requests) verdict.findings.push_back(counted(matcher, requests));
  }
}

}  // namespace

std::string mismatch(const RequestMatcher &matcher, const Exchange &exchange) {
  const Request &request = exchange.request;
  if (matcher.method && *matcher.method != request.method) return differs("method", *matcher.method, request.method);
  if (matcher.target && !glob_match(*matcher.target, request.target))
    return differs("target", *matcher.target, request.target);
  if (matcher.status && *matcher.status != exchange.status)
    return differs("status", std::to_string(*matcher.status), std::to_string(exchange.status));
  if (matcher.fault && *matcher.fault != exchange.fault) return differs("fault", *matcher.fault, exchange.fault);
  std::string why = matcher.headers ? headers_mismatch(*matcher.headers, request.headers) : "";
  if (why.empty()) why = included_mismatch(matcher.headers_include, request.headers);
  if (why.empty()) why = contents_mismatch(matcher, request.body);
  return why.empty() ? xpath_mismatch(matcher, request.body) : why;
}

Verdict judge_expectations(const World &world, const Journal &journal) {
  const ExpectSpec &expect = world.scenario().expect;
  std::vector<const Exchange *> requests;
  for (const Exchange &exchange : journal.exchanges())
    if (!exchange.request.method.empty()) requests.push_back(&exchange);
  Verdict verdict;
  verdict.findings.push_back(violations(expect.violations, journal.exchanges()));
  if (expect.requests_given) judge_requests(expect, requests, verdict);
  if (expect.health) verdict.findings.push_back(health(*expect.health, world.health));
  if (expect.thumbprints) verdict.findings.push_back(thumbprints(*expect.thumbprints, world.thumbprints));
  if (expect.goal_states) {
    auto came = static_cast<int64_t>(world.goal_states_delivered());
    verdict.findings.push_back(
        {"goalStates", came == *expect.goal_states,
         "expected " + std::to_string(*expect.goal_states) + " deliveries, came " + std::to_string(came)});
  }
  judge_uploads(world, verdict);
  return verdict;
}

bool Verdict::held() const {
  return std::all_of(findings.begin(), findings.end(), [](const Finding &finding) { return finding.held; });
}

std::string Verdict::as_json() const {
  nlohmann::ordered_json out;
  out["held"] = held();
  out["expectations"] = nlohmann::ordered_json::array();
  for (const Finding &finding : findings) {
    nlohmann::ordered_json one;
    one["name"] = finding.name;
    one["held"] = finding.held;
    one["explanation"] = finding.explanation;
    out["expectations"].push_back(one);
  }
  return out.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::string Verdict::as_text() const {
  std::string out;
  for (const Finding &finding : findings)
    out += (finding.held ? "held:   " : "FAILED: ") + finding.name + ": " + finding.explanation + "\n";
  return out;
}

}  // namespace kelvane::fabric
