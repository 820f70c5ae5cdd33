#include "tools/demo/output.h"

#include <unistd.h>

#include <cstdio>
#include <map>
#include <sstream>

#include "tools/fabric/bytes.h"

namespace demo {
namespace {

using Json = nlohmann::ordered_json;

constexpr size_t kWidest = 160;
const std::string kReplacement = "(secret)";

std::vector<std::string> &kept() {
  static std::vector<std::string> texts;
  return texts;
}

bool holds_a_secret(const std::string &text) {
  for (const std::string &secret : kept()) {
    if (text.find(secret) != std::string::npos) {
      return true;
    }
  }
  return false;
}

// "sh config-eventhub.sh ID SETTINGS": the settings are base64 around the key.
void keep_words_around_secrets(const std::string &text) {
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const auto decoded = kelvane::fabric::base64_decode(word);
    if (decoded && holds_a_secret(*decoded)) {
      kept().push_back(word);
    }
  }
}

void search(const Json &value) {
  if (value.is_string()) {
    keep_words_around_secrets(value.get<std::string>());
  } else if (value.is_structured()) {
    for (const Json &member : value) {
      search(member);
    }
  }
}

const char *escape(Look look) {
  static const std::map<Look, const char *> kEscapes = {{Look::kPlain, ""},           {Look::kBold, "\033[1m"},
                                                        {Look::kGood, "\033[32m"},    {Look::kBad, "\033[31m"},
                                                        {Look::kAsks, "\033[36m"},    {Look::kWrites, "\033[33m"},
                                                        {Look::kLogs, "\033[90m"},    {Look::kConfigures, "\033[32m"},
                                                        {Look::kMachine, "\033[35m"}, {Look::kReports, "\033[1;36m"}};
  return isatty(STDOUT_FILENO) != 0 ? kEscapes.at(look) : "";
}

}  // namespace

void keep_secrets_of(const Json &scenario) {
  kept() = scenario.value("secrets", std::vector<std::string>());
  const std::string password =
      scenario.value("fabric", Json::object()).value("ovf", Json::object()).value("userPassword", "");
  if (!password.empty()) {
    kept().push_back(password);
  }
  search(scenario.value("fabric", Json::object()));
}

const std::vector<std::string> &secrets() {
  return kept();
}

std::string without_secrets(std::string text) {
  for (const std::string &secret : kept()) {
    for (size_t at = text.find(secret); at != std::string::npos; at = text.find(secret, at + kReplacement.size())) {
      text.replace(at, secret.size(), kReplacement);
    }
  }
  return text;
}

void say(const std::string &text, Look look) {
  const char *begin = escape(look);
  std::string clean = without_secrets(text);
  if (clean.size() > kWidest) {
    clean = clean.substr(0, kWidest) + " ...";
  }
  std::printf("%s%s%s\n", begin, clean.c_str(), *begin != '\0' ? "\033[0m" : "");
  std::fflush(stdout);
}

void headline(const std::string &text) {
  say("");
  say(text, Look::kBold);
}

void indented(const std::string &text) {
  std::istringstream lines(without_secrets(text));
  for (std::string line; std::getline(lines, line);) {
    say("  " + line);
  }
}

}  // namespace demo
