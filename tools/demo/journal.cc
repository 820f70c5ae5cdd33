#include "tools/demo/journal.h"

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>

namespace demo {
namespace {

using Json = nlohmann::json;

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
    }
  }
  return found;
}

}  // namespace demo
