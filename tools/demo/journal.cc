#include "tools/demo/journal.h"

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>

namespace demo {
namespace {

using Json = nlohmann::ordered_json;

std::vector<Json> exchanges(const std::filesystem::path &journal) {
  std::vector<Json> all;
  std::ifstream stream(journal);
  for (std::string line; std::getline(stream, line) && !stream.eof();) {
    all.push_back(Json::parse(line));
  }
  return all;
}

std::string first_match(const std::string &document, const std::string &pattern) {
  std::smatch match;
  return std::regex_search(document, match, std::regex(pattern)) ? match[1].str() : "";
}

std::string element(const std::string &document, const std::string &name) {
  return first_match(document, "<" + name + ">([^<]*)</" + name + ">");
}

std::string health(const std::string &body) {
  const std::string more = element(body, "SubStatus"), why = element(body, "Description");
  return "health \"" + element(body, "State") + "\"" + (more.empty() ? "" : ", " + more + ", " + why);
}

std::string fingerprint(const std::string &body) {
  return first_match(body, "name=\"CertificateThumbprint\" value=\"([^\"]*)\"");
}

bool has(const Json &request, const char *text) {
  return request.at("target").get_ref<const std::string &>().find(text) != std::string::npos;
}

std::string member(const Json &object, const char *key) {
  return object.is_object() && object.contains(key) && object[key].is_string() ? object[key].get<std::string>() : "";
}

Json json_of(const Json &request) {
  return Json::parse(request.value("body", ""), nullptr, false);
}

std::string provisioning_fingerprint(const Json &request) {
  const Json report = json_of(request);
  return report.is_object() && report.contains("properties") ? member(report["properties"], "certificateThumbprint")
                                                             : "";
}

std::string provisioning(const Json &request) {
  const Json report = json_of(request);
  const std::string more = member(report, "subStatus"), thumbprint = provisioning_fingerprint(request);
  return "provisioning \"" + member(report, "status") + "\"" +
         (more.empty() ? "" : ", " + more + ", " + member(report, "description")) +
         (thumbprint.empty() ? "" : ", the SSH host key's fingerprint: " + thumbprint);
}

std::string appliance_status(const Json &request) {
  const Json report = json_of(request);
  const Json agent = report.is_object() ? report.value("vmAgent", Json()) : Json();
  std::string line = "appliance " + member(agent, "version") + ": " + member(agent, "status");
  for (const Json &handler : report.is_object() ? report.value("extensionHandlers", Json::array()) : Json::array()) {
    line += "; " + member(handler, "name") + " " + member(handler, "version") + " " + member(handler, "status");
  }
  return line;
}

std::string extension_status(const Json &request) {
  const Json report = json_of(request);
  const std::string name = first_match(request.at("target"), "/status/extensions/(.*)\\?");
  return "extension " + name + ": " + member(report, "operation") + " " + member(report, "status") + ", " +
         Json(member(report, "message")).dump();
}

struct MetadataReport {
  const char *resource;  // found in the target
  std::string (*line)(const Json &request);
};

constexpr MetadataReport kMetadataReports[] = {
    {"/Microsoft.Compute/provisioningStatus?", provisioning},
    {"/Microsoft.Compute/status/vmagent?", appliance_status},
    {"/Microsoft.Compute/status/extensions/", extension_status},
};

// "" for a request that reports nothing.
std::string report_line(const Json &request) {
  const std::string method = request.at("method"), body = request.value("body", "");
  if (method != "POST" && method != "PUT") {
    return "";
  }
  if (has(request, "comp=health")) {
    return health(body);
  }
  if (has(request, "comp=roleProperties")) {
    return "role property, the SSH host key's fingerprint: " + fingerprint(body);
  }
  for (const MetadataReport &report : kMetadataReports) {
    if (has(request, report.resource)) {
      return report.line(request);
    }
  }
  const char *what = has(request, "comp=telemetrydata") ? "telemetry" : method == "PUT" ? "status blob" : "other";
  return std::string(what) + ", " + std::to_string(body.size()) + " bytes";
}

}  // namespace

std::vector<std::string> reports(const std::filesystem::path &journal) {
  std::vector<std::string> lines;
  for (const Json &exchange : exchanges(journal)) {
    const std::string line = report_line(exchange.at("request"));
    if (!line.empty()) {
      lines.push_back(line);
    }
  }
  return lines;
}

std::string totals(const std::filesystem::path &journal) {
  std::map<std::string, int> kinds;
  int all = 0;
  for (const Json &exchange : exchanges(journal)) {
    const Json &answer = exchange.at("answer");
    ++kinds[exchange.at("request").at("method").get<std::string>() + " " +
            (answer.is_null() ? "without an answer" : std::to_string(answer.at("status").get<int>()))];
    ++all;
  }
  std::string line = "in all " + std::to_string(all) + " requests:";
  for (const auto &[kind, count] : kinds) {
    line += "  " + std::to_string(count) + " x " + kind;
  }
  return line;
}

std::string reported_fingerprint(const std::filesystem::path &journal) {
  std::string found;
  for (const Json &exchange : exchanges(journal)) {
    if (has(exchange.at("request"), "comp=roleProperties")) {
      found = fingerprint(exchange.at("request").value("body", ""));
    } else if (has(exchange.at("request"), kMetadataReports[0].resource)) {
      found = provisioning_fingerprint(exchange.at("request"));
    }
  }
  return found;
}

}  // namespace demo
