#include "tools/demo/report.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "tools/demo/fabric_client.h"

namespace demo {
namespace {

using Json = nlohmann::json;

struct Check {
  std::string name;
  bool held;
  std::string explanation;
};

// Bold, green and red on a terminal, plain elsewhere.
std::string in(const char *colour, const std::string &text) {
  return isatty(STDOUT_FILENO) != 0 ? std::string(colour) + text + "\033[0m" : text;
}

void headline(const std::string &text) {
  std::printf("\n%s\n", in("\033[1m", text).c_str());
}

std::string contents(const std::filesystem::path &file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// Long lines, such as key texts, are cut.
void indented(const std::string &text) {
  constexpr size_t kWidest = 150;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::printf("  %s%s\n", line.substr(0, kWidest).c_str(), line.size() > kWidest ? "..." : "");
  }
}

std::vector<Json> exchanges(const Demo &demo) {
  std::vector<Json> all;
  std::ifstream stream(demo.journal());
  for (std::string line; std::getline(stream, line);) {
    all.push_back(Json::parse(line));
  }
  return all;
}

// ---- what the appliance holds ------------------------------------------------------------------------------------

struct Question {
  const char *title;
  std::vector<std::string> arguments;  // of kelvanectl; NAME stands for the account
};

const std::vector<Question> &questions() {
  static const std::vector<Question> kQuestions = {
      {"accounts", {"account", "list"}}, {"SSH keys of the account that was provisioned", {"keys", "NAME"}},
      {"host name", {"hostname"}},       {"endpoint", {"endpoint", "show"}},
      {"system events", {"events"}},
  };
  return kQuestions;
}

void show_appliance(const Demo &demo, const std::string &account) {
  headline("The appliance, as kelvanectl reads it from its database");
  for (const Question &question : questions()) {
    std::vector<std::string> arguments = question.arguments;
    std::replace(arguments.begin(), arguments.end(), std::string("NAME"), account);
    std::printf("%s:\n", question.title);
    const std::string answer = demo.kelvanectl(arguments);
    indented(answer.empty() ? "none\n" : answer);
  }
  std::printf("marker /data/etc/.provisioned: %s", contents(demo.root() / "data/etc/.provisioned").c_str());
  std::printf("the machine's host name: %s", contents(demo.root() / "etc/hostname").c_str());
}

// ---- what the agent reported --------------------------------------------------------------------------------------

std::string element(const std::string &document, const std::string &name) {
  std::smatch match;
  return std::regex_search(document, match, std::regex("<" + name + ">([^<]*)</" + name + ">")) ? match[1].str() : "";
}

// One line for a report, or "" for a request that is none.
std::string report_line(const Json &request) {
  const std::string target = request.at("target"), method = request.at("method"), body = request.value("body", "");
  if (target.find("comp=health") != std::string::npos) {
    const std::string more = element(body, "SubStatus"), why = element(body, "Description");
    return "health: " + element(body, "State") + (more.empty() ? "" : ", " + more + ", " + why);
  }
  if (target.find("comp=roleProperties") != std::string::npos) {
    return "role properties: the SSH host key's fingerprint";
  }
  if (target.find("comp=telemetrydata") != std::string::npos) {
    return "telemetry: " + std::to_string(body.size()) + " bytes";
  }
  return method == "PUT" ? "status blob: " + std::to_string(body.size()) + " bytes" : "";
}

void show_reports(const std::vector<Json> &all) {
  headline("What the agent reported, as the fabric's journal has it");
  std::map<std::string, int> answers;
  for (const Json &exchange : all) {
    const Json &request = exchange.at("request");
    const std::string line = report_line(request);
    if (!line.empty()) {
      std::printf("  %s\n", line.c_str());
    }
    const Json &answer = exchange.at("answer");
    ++answers[request.at("method").get<std::string>() + " " +
              (answer.is_null() ? "without an answer" : std::to_string(answer.at("status").get<int>()))];
  }
  std::printf("  in all %zu requests:", all.size());
  for (const auto &[kind, count] : answers) {
    std::printf("  %d x %s", count, kind.c_str());
  }
  std::printf("\n");
}

// ---- the judgement ------------------------------------------------------------------------------------------------

std::vector<Check> fabric_checks(const Demo &demo) {
  std::vector<Check> checks;
  const Json verdict = Json::parse(http_get(demo.port(), "/_fabric/verdict"));
  for (const Json &finding : verdict.at("expectations")) {
    checks.push_back({finding.at("name"), finding.at("held"), finding.at("explanation")});
  }
  checks.push_back({"the fabric's verdict", verdict.at("held"), ""});
  return checks;
}

// What the scenario's provisioning document asks of the appliance.
void appliance_checks(const Demo &demo, const Json &ovf, std::vector<Check> &checks) {
  const std::string host = ovf.value("hostName", ""), found = contents(demo.root() / "etc/hostname");
  if (!host.empty()) {
    checks.push_back({"host name " + host, found == host + "\n", "found: " + found});
  }
  const std::string user = ovf.value("userName", "");
  if (!user.empty()) {
    const std::string accounts = demo.kelvanectl({"account", "list"});
    checks.push_back({"account " + user, accounts.find(user) != std::string::npos, "found: " + accounts});
  }
  checks.push_back({"the marker of a provisioned appliance",
                    std::filesystem::exists(demo.root() / "data/etc/.provisioned"), "there is none"});
}

bool show_checks(const std::vector<Check> &checks) {
  headline("What was expected");
  bool held = true;
  for (const Check &check : checks) {
    held = held && check.held;
    const std::string word = check.held ? in("\033[32m", "ok  ") : in("\033[31m", "FAIL");
    std::printf("  %s  %s%s\n", word.c_str(), check.name.c_str(),
                check.held || check.explanation.empty() ? "" : (": " + check.explanation).c_str());
  }
  return held;
}

void show_artefacts(const Demo &demo) {
  headline("Everything lies in " + demo.options().out.string());
  indented(
      "agent.log      the appliance log\n"
      "trace.txt      each thing the agent did to the outside world, with its second\n"
      "journal.jsonl  each request and answer, as the fabric saw them\n"
      "media/         the provisioning CD-ROM\n"
      "root/          the appliance's files; root/data/etc/ holds its database");
}

void let_go(Demo &demo) {
  demo.fabric().let_go();
  demo.agent().let_go();
  const std::string ctl = demo.program("kelvanectl") + " --root " + demo.root().string();
  const std::string fabric = "http://127.0.0.1:" + std::to_string(demo.port());
  headline("Fabric and agent run on");
  std::printf("  fabric  pid %d, %s\n", static_cast<int>(demo.fabric().pid()), fabric.c_str());
  std::printf("  agent   pid %d, %d agent seconds in a second\n\n", static_cast<int>(demo.agent().pid()),
              demo.options().speed);
  indented("tail -f " + (demo.options().out / "agent.log").string() + "\n" +  //
           ctl + " debug level 7\n" +                                         //
           ctl + " command 1\n" +                                             //
           "curl " + fabric + "/_fabric/verdict\n" +                          //
           "curl " + fabric + "/_fabric/journal\n");
  std::printf("\n  to end both: kill %d %d\n", static_cast<int>(demo.agent().pid()),
              static_cast<int>(demo.fabric().pid()));
}

}  // namespace

bool report(Demo &demo) {
  std::ifstream stream(demo.options().scenario);
  const Json ovf =
      Json::parse(stream, nullptr, true, true).value("fabric", Json::object()).value("ovf", Json::object());
  show_appliance(demo, ovf.value("userName", ""));
  show_reports(exchanges(demo));
  std::vector<Check> checks = fabric_checks(demo);
  appliance_checks(demo, ovf, checks);
  const bool held = show_checks(checks);
  show_artefacts(demo);
  if (demo.options().keep) {
    let_go(demo);
  }
  std::printf("\n%s\n", held ? in("\033[32m", "demo: every expectation held").c_str()
                             : in("\033[31m", "demo: an expectation failed").c_str());
  return held;
}

}  // namespace demo
