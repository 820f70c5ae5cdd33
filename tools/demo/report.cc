#include "tools/demo/report.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "tools/demo/fabric_client.h"
#include "tools/demo/journal.h"

namespace demo {
namespace {

using Json = nlohmann::ordered_json;  // records are shown in their own order

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

// ---- what the appliance holds ------------------------------------------------------------------------------------

Json ask(const Demo &demo, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "--json");
  return Json::parse(demo.kelvanectl(arguments));
}

// One record, one line: "name admin, hidden false".
std::string in_words(const Json &record) {
  std::string line;
  for (const auto &[key, value] : record.items()) {
    const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    line += (line.empty() ? "" : ", ") + key + " " + text;
  }
  return line;
}

void show(const char *title, const Json &answer) {
  std::printf("%s:\n", title);
  const Json rows = answer.is_array() ? answer : Json::array({answer});
  for (const Json &row : rows) {
    indented(in_words(row));
  }
  if (rows.empty()) {
    indented("none");
  }
}

// One line for each certificate of the store, from the dump in the agent's log.
std::vector<std::string> certificates(const Demo &demo) {
  static const std::regex kFingerprint("\\[\\d+\\] Fingerprint (\\S*)"), kPair("\\[\\d+\\] Cert (\\d) Key (\\d)");
  std::vector<std::string> all;
  std::ifstream stream(demo.options().out / "agent.log");
  std::smatch match;
  for (std::string line; std::getline(stream, line);) {
    if (std::regex_search(line, match, kFingerprint)) {
      all.push_back(match[1]);
    } else if (!all.empty() && std::regex_search(line, match, kPair)) {
      all.back() += std::string(match[1] == "1" ? ", certificate" : "") + (match[2] == "1" ? ", private key" : "");
    }
  }
  return all;
}

void show_certificates(const Demo &demo) {
  std::printf("certificate store, from the agent's memory:\n");
  for (const std::string &line : certificates(demo)) {
    indented(line);
  }
}

void show_dashboard(const Json &account) {
  std::string line;
  for (const Json &entry : account.value("dashboard", Json::array())) {
    line += (line.empty() ? "" : ", ") + entry.value("widget", "");
  }
  std::printf("dashboard of the account:\n  %s\n", line.empty() ? "none" : line.c_str());
}

void show_appliance(const Demo &demo, const std::string &account) {
  headline("The appliance, as kelvanectl reads it from its database");
  const Json accounts = ask(demo, {"account", "list"});
  show("accounts", accounts);
  if (accounts.dump().find("\"" + account + "\"") != std::string::npos) {
    show("SSH keys of the account", ask(demo, {"keys", account}));
    show_dashboard(ask(demo, {"account", "show", account}));
  }
  show("host name", ask(demo, {"hostname"}));
  show("interfaces", ask(demo, {"interface", "list"}));
  show("system events", ask(demo, {"events"}));
  show_certificates(demo);
  std::printf("marker /data/etc/.provisioned:\n  %s", contents(demo.root() / "data/etc/.provisioned").c_str());
  std::printf("the machine's own host name:\n  %s", contents(demo.root() / "etc/hostname").c_str());
}

// ---- what the agent reported --------------------------------------------------------------------------------------

void show_reports(const Demo &demo) {
  headline("What the agent reported, as the fabric's journal has it");
  for (const std::string &line : reports(demo.journal())) {
    indented(line);
  }
  indented(totals(demo.journal()));
}

// ---- the judgement ------------------------------------------------------------------------------------------------

std::vector<Check> fabric_checks(const Demo &demo) {
  std::vector<Check> checks;
  const Json verdict = Json::parse(http_get(demo.port(), "/_fabric/verdict"));
  for (const Json &finding : verdict.at("expectations")) {
    const std::string name = finding.at("name");
    checks.push_back({"fabric: " + (name == "violations" ? "no request broke a rule of the platform" : name),
                      finding.at("held"), finding.at("explanation")});
  }
  checks.push_back({"fabric: its verdict on the whole run", verdict.at("held"), "it did not hold"});
  return checks;
}

std::string without_colons(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), ':'), text.end());
  return text;
}

std::string password_of(const Json &accounts, const std::string &name) {
  for (const Json &account : accounts) {
    if (account.value("name", "") == name) {
      return account.value("password", "");
    }
  }
  return "no such account";
}

// What every first boot has to come to.
void first_boot_checks(const Demo &demo, std::vector<Check> &checks) {
  const std::string before = password_of(Json::parse(demo.factory_accounts()), "admin");
  const std::string after = password_of(ask(demo, {"account", "list"}), "admin");
  checks.push_back({"the built-in administrator is locked", before != after, "its password is still: " + after});
  checks.push_back({"the marker of a provisioned appliance",
                    std::filesystem::exists(demo.root() / "data/etc/.provisioned"), "there is none"});
  const std::string expected = without_colons(Demo::fingerprint()), found = reported_fingerprint(demo.journal());
  checks.push_back({"the SSH host key's fingerprint is reported", found == expected, "found: " + found});
}

// What the scenario's provisioning document asks of the appliance.
void document_checks(const Demo &demo, const Json &ovf, std::vector<Check> &checks) {
  const std::string host = ovf.value("hostName", ""), machine = contents(demo.root() / "etc/hostname");
  if (!host.empty()) {
    const std::string configured = ask(demo, {"hostname"}).value("host_name", "");
    checks.push_back({"host name " + host, machine == host + "\n" && configured == host,
                      "configured: " + configured + ", the machine's: " + machine});
  }
  const std::string user = ovf.value("userName", "");
  if (!user.empty()) {
    const std::string password = password_of(ask(demo, {"account", "list"}), user);
    checks.push_back({"account " + user, password.rfind("set", 0) == 0, "its password: " + password});
  }
  const size_t keys = ovf.value("publicKeys", Json::array()).size();
  if (!user.empty() && keys != 0) {
    const size_t found = ask(demo, {"keys", user}).size();
    checks.push_back({std::to_string(keys) + " SSH keys of " + user, found == keys, "found: " + std::to_string(found)});
  }
  if (ovf.contains("customData") && ovf["customData"].is_string()) {
    const std::string found = contents(demo.root() / "data/etc/.customdata");
    checks.push_back({"the custom data, byte for byte", found == ovf["customData"], "found: " + found});
  }
}

// The certificates of the first goal state, each with its private key, in the agent's store.
void certificate_checks(const Demo &demo, const Json &fabric, std::vector<Check> &checks) {
  const Json states = fabric.value("goalStates", Json::array());
  const size_t wanted = states.empty() ? 0 : states[0].value("certificates", Json::array()).size();
  if (wanted == 0) {
    return;
  }
  const std::vector<std::string> store = certificates(demo);
  const auto whole = std::count_if(store.begin(), store.end(), [](const std::string &line) {
    return line.find(", certificate, private key") != std::string::npos;
  });
  checks.push_back({std::to_string(wanted) + " certificates with their keys in the certificate store",
                    static_cast<size_t>(whole) == wanted && store.size() == wanted,
                    "found: " + std::to_string(whole) + " of " + std::to_string(store.size())});
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
  const Json fabric = Json::parse(stream, nullptr, true, true).value("fabric", Json::object());
  const Json ovf = fabric.value("ovf", Json::object());
  show_appliance(demo, ovf.value("userName", ""));
  show_reports(demo);
  std::vector<Check> checks = fabric_checks(demo);
  first_boot_checks(demo, checks);
  document_checks(demo, ovf, checks);
  certificate_checks(demo, fabric, checks);
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
