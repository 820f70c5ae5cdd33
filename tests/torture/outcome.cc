#include "tests/torture/outcome.h"

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>

#include "tests/scenario/run/tables.h"
#include "tests/support/files.h"
#include "tests/torture/history.h"
#include "tests/torture/listing.h"

namespace torture {
namespace {

std::string contents(const std::string &file) {
  return support::exists(file) ? support::read_file(file) : "absent";
}

// When something was done is no part of the comparison.
std::string without_times(const std::string &text) {
  static const std::regex kTime("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z");
  static const std::regex kSeconds("\"cmdtime\": *[1-9][0-9]*");
  return std::regex_replace(std::regex_replace(text, kTime, "<time>"), kSeconds, "\"cmdtime\": \"<time>\"");
}

// Lists of things with names become objects of these names, so that one that lacks moves no other. A name that comes
// again is another one.
Json by_name(const Json &value) {
  if (value.is_object()) {
    Json out = Json::object();
    for (const auto &[key, member] : value.items()) {
      out[key] = by_name(member);
    }
    return out;
  }
  const bool named = value.is_array() && !value.empty() && value[0].is_object() &&
                     (value[0].contains("name") || value[0].contains("handlerName"));
  if (!named) {
    return value;
  }
  Json out = Json::object();
  for (const Json &element : value) {
    std::string name = element.value("name", element.value("handlerName", "?"));
    while (out.contains(name)) {
      name += " again";
    }
    out[name] = by_name(element);
  }
  return out;
}

Json parsed(const std::string &text) {
  const Json value = Json::parse(without_times(text), nullptr, false);
  return value.is_discarded() ? Json(text) : by_name(value);
}

// By slots. The fabric makes its keys anew for every bench: they are named by their slots in the undisturbed run.
void name_keys(Json &accounts, const Json &scenario) {
  const Json known = scenario["torture"].value("keys", Json::array());
  for (Json &account : accounts) {
    Json slots = Json::object();
    for (const Json &key : account["ssh_keys"]["keys"]) {
      const auto found = std::find(known.begin(), known.end(), Json::array({key["text"]}));
      slots[std::to_string(key["slot"].get<int>())] =
          found != known.end() ? Json("key " + std::to_string(found - known.begin() + 1)) : key["text"];
    }
    account["ssh_keys"] = slots;
  }
}

// The part of a report that tells the same whenever it is sent.
std::string part(const std::string &text, const char *pattern) {
  std::smatch found;
  return std::regex_search(text, found, std::regex(pattern)) ? found.str() : text;
}

// Under which name a request's report is compared, and what it tells; nothing for any other request. A status that was
// told before the quiet run is old.
void take_report(Json &out, const Json &request, bool is_quiet) {
  const auto target = request.value("target", ""), method = request.value("method", "");
  const auto body = request["body"].get<std::string>();
  const auto has = [&](const char *text) { return target.find(text) != std::string::npos; };
  const bool of_the_service = method == "PUT" && has("/Microsoft.Compute/");
  if (method == "POST" && has("comp=health")) {
    out["health"] = part(body, "<State>.*</State>(<Details>.*</Details>)?");
  } else if (method == "POST" && has("comp=roleProperties")) {
    out["role properties"] = part(body, "<Property .*/>");
  } else if (of_the_service && has("/provisioningStatus")) {
    out["provisioning"] = parsed(body);
  } else if (is_quiet && of_the_service && has("/status/")) {
    out[target] = parsed(body);
  }
}

// What has no members flattens to null, and its members stand for themselves on the other side.
bool is_empty_form(const Json &value, const Json &other, const std::string &place) {
  return value.is_null() && std::any_of(other.items().begin(), other.items().end(),
                                        [&](const auto &item) { return item.key().rfind(place + "/", 0) == 0; });
}

}  // namespace

Told told_by_now(const scenario::Cloud &cloud) {
  return {Json::parse(cloud.ask("/_fabric/journal")).size(), Json::parse(cloud.ask("/_fabric/status")).size()};
}

Json last_reports(const Json &journal, const Json &documents, const Told &before) {
  Json out = Json::object();
  for (size_t i = 0; i < journal.size(); ++i) {
    const Json &request = journal[i]["request"];
    if (request["body"].is_string() && journal[i]["fault"].is_null()) {
      take_report(out, request, i >= before.requests);
    }
  }
  if (documents.size() > before.documents) {
    out["status blob"] = parsed(documents.back()["text"].get<std::string>());
  }
  return out;
}

Json outcome_of(const std::string &root, const Json &scenario, const scenario::Cloud &cloud, const Told &before) {
  // Before anything opens the database: that makes files beside it.
  const Json names = names_below(root);
  Json tables = scenario::tables_in_words(root, scenario);
  tables["events"] = each_once(tables["events"]["events"]);
  name_keys(tables["340"]["records"], scenario);
  Json out = {{"names", names}, {"tables", Json::object()}, {"history", newest_passwords(root, scenario)}};
  for (auto &[number, table] : tables.items()) {
    out["tables"][number] = by_name(table.contains("records") ? table["records"] : table);
  }
  for (const char *file :
       {"data/etc/.provisioned", "data/etc/.customdata", "data/etc/.ovf-env.xml", "etc/hostname", "etc/tmpdata.conf"}) {
    out["files"][std::filesystem::path(file).filename().string()] = contents(root + "/" + file);
  }
  out["plugins"] = parsed(contents(root + "/data/etc/.plugin_status"));
  out["reports"] =
      last_reports(Json::parse(cloud.ask("/_fabric/journal")), Json::parse(cloud.ask("/_fabric/status")), before);
  return out;
}

Json each_once(const Json &events) {
  Json out = Json::object();
  for (const Json &event : events) {
    out[event.dump()] = true;
  }
  return out;
}

std::vector<Difference> differences(const Json &expected, const Json &came) {
  const Json first = expected.flatten(), second = came.flatten();
  std::vector<Difference> out;
  for (const auto &[place, value] : first.items()) {
    const std::string there = second.contains(place) ? second[place].dump() : "nothing";
    if (there != value.dump() && !is_empty_form(value, second, place)) {
      out.push_back({place, value.dump(), there});
    }
  }
  for (const auto &[place, value] : second.items()) {
    if (!first.contains(place) && !is_empty_form(value, first, place)) {
      out.push_back({place, "nothing", value.dump()});
    }
  }
  return out;
}

std::vector<Site> requests_to_strike(const scenario::Cloud &cloud) {
  std::vector<Site> out;
  for (const Json &line : Json::parse(cloud.ask("/_fabric/journal"))) {
    out.push_back({"request", out.size() + 1, "request(" + line["request"].value("target", "") + ")"});
    if (!line["fault"].is_null()) {
      return out;
    }
  }
  return {};
}

std::vector<Difference> violations(const Json &journal) {
  std::vector<Difference> out;
  std::set<std::string> seen;
  for (const Json &line : journal) {
    if (line["judgement"].value("held", true)) {
      continue;
    }
    const Json &request = line["request"];
    for (const Json &fault : line["judgement"]["violations"]) {
      const std::string place = "/requests " + request.value("method", "") + " " + request.value("target", "") + " " +
                                fault.value("what", "");
      const Difference one = {place, fault.value("expected", "?"), fault.value("came", "?")};
      if (seen.insert(one.place + " = " + one.came).second) {
        out.push_back(one);
      }
    }
  }
  return out;
}

}  // namespace torture
