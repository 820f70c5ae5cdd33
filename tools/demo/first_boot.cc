#include "tools/demo/first_boot.h"

#include <algorithm>
#include <fstream>
#include <regex>

#include "tools/demo/files.h"
#include "tools/demo/journal.h"
#include "tools/demo/output.h"
#include "tools/demo/step.h"

namespace demo {
namespace {

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
  say(std::string(title) + ":");
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
  say("certificate store, from the agent's memory:");
  for (const std::string &line : certificates(demo)) {
    indented(line);
  }
}

void show_dashboard(const Json &account) {
  std::string line;
  for (const Json &entry : account.value("dashboard", Json::array())) {
    line += (line.empty() ? "" : ", ") + entry.value("widget", "");
  }
  say("dashboard of the account:");
  indented(line.empty() ? "none" : line);
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
  say("marker /data/etc/.provisioned:");
  indented(contents(demo.root() / "data/etc/.provisioned"));
  say("the machine's own host name:");
  indented(contents(demo.root() / "etc/hostname"));
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
void boot_checks(const Demo &demo, Checks &checks) {
  const std::string before = password_of(Json::parse(demo.factory_accounts()), "admin");
  const std::string after = password_of(ask(demo, {"account", "list"}), "admin");
  checks.push_back({"the built-in administrator is locked", before != after, "its password is still: " + after});
  checks.push_back({"the marker of a provisioned appliance",
                    std::filesystem::exists(demo.root() / "data/etc/.provisioned"), "there is none"});
  const std::string expected = without_colons(Demo::fingerprint()), found = reported_fingerprint(demo.journal());
  checks.push_back({"the SSH host key's fingerprint is reported", found == expected, "found: " + found});
}

// What the scenario's provisioning document asks of the appliance.
void document_checks(const Demo &demo, const Json &ovf, Checks &checks) {
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
void certificate_checks(const Demo &demo, const Json &fabric, Checks &checks) {
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

}  // namespace

void show_first_boot(const Demo &demo, const Json &scenario) {
  const Json ovf = scenario.value("fabric", Json::object()).value("ovf", Json::object());
  show_appliance(demo, ovf.value("userName", ""));
}

Checks first_boot_checks(const Demo &demo, const Json &scenario) {
  const Json fabric = scenario.value("fabric", Json::object());
  Checks checks;
  boot_checks(demo, checks);
  document_checks(demo, fabric.value("ovf", Json::object()), checks);
  certificate_checks(demo, fabric, checks);
  return checks;
}

}  // namespace demo
