#include "tests/scenario/run/tables.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>
#include <vector>

#include "platform/records.h"

namespace scenario {
namespace {

constexpr std::array kTables = {NCFG_TABLE_SYSTEM_SETTINGS, NCFG_TABLE_ACCESS_PROFILES, NCFG_TABLE_WIDGETS,
                                NCFG_TABLE_ACCOUNTS,        NCFG_TABLE_INTERFACES,      NCFG_TABLE_EVENT_HUB};
constexpr std::array kChildren = {NCFG_TABLE_ACCOUNT_DASHBOARD, NCFG_TABLE_GUI_DASHBOARD};

void collect_passwords(const Json &value, std::vector<std::string> &out) {
  for (const auto &[key, member] : value.items()) {
    if ((key == "password" || key == "userPassword") && member.is_string()) {
      out.push_back(member.get<std::string>());
    }
    if (member.is_structured()) {
      collect_passwords(member, out);
    }
  }
}

// The fabric makes its keys anew in every play.
Json keys_in_words(Json answer, const std::string &scenario) {
  for (Json &key : answer["keys"]) {
    const auto text = key["text"].get<std::string>();
    key["text"] = scenario.find(text) != std::string::npos ? text : "a key that the fabric made";
  }
  return answer;
}

// Words for the password of each account, its children and its keys.
void complete_accounts(Json &accounts, const std::string &root, const std::vector<std::string> &known,
                       const std::string &scenario) {
  Json entries = Json::array();
  for (const Json &account : accounts) {
    const auto name = account.at("name").get<std::string>();
    for (const auto child : kChildren) {
      entries.push_back({{"table", child}, {"parent", name}});
    }
    entries.push_back({{"ssh_keys_of", name}});
  }
  const Json answers = look_up_all(root, entries);
  size_t at = 0;
  for (Json &account : accounts) {
    account["password"] = password_in_words(account.at("password"), known);
    for (const auto child : kChildren) {
      account[std::to_string(child)] = answers[at++];
    }
    account["ssh_keys"] = keys_in_words(answers[at++], scenario);
  }
}

// A stored form begins with its method, or stands for no password and is the same every time.
std::string unknown_in_words(const std::string &stored) {
  return stored.empty() ? "none" : stored[0] == '$' ? "one that the scenario does not know" : "no password: " + stored;
}

}  // namespace

std::vector<std::string> known_passwords(const Json &scenario) {
  std::vector<std::string> known;
  collect_passwords(scenario.value("fabric", Json::object()), known);
  return known;
}

// Every stored form has a salt of its own. To try a password is dear, and the same form stands in several places.
std::string password_in_words(const std::string &stored, const std::vector<std::string> &known) {
  static std::map<std::pair<std::string, std::vector<std::string>>, std::string> words;
  std::string &found = words[{stored, known}];
  if (found.empty()) {
    const auto fits = [&](const std::string &clear) { return password_fits(stored, clear); };
    const auto clear = std::find_if(known.begin(), known.end(), fits);
    found = clear != known.end() ? "that of " + *clear : unknown_in_words(stored);
  }
  return found;
}

Json tables_in_words(const std::string &root, const Json &scenario) {
  const std::vector<std::string> known = known_passwords(scenario);
  Json entries = Json::array({{{"events", Json::array()}}});
  for (const auto table : kTables) {
    entries.push_back({{"table", table}});
  }
  const Json answers = look_up_all(root, entries);
  Json out = {{"events", answers[0]}};
  for (size_t i = 0; i < kTables.size(); ++i) {
    out[std::to_string(kTables[i])] = answers[i + 1];
  }
  complete_accounts(out[std::to_string(NCFG_TABLE_ACCOUNTS)]["records"], root, known, scenario.dump());
  return out;
}

}  // namespace scenario
