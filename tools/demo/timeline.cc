#include "tools/demo/timeline.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <regex>
#include <utility>

namespace demo {
namespace {

const char *word_of(Look look) {
  static const std::map<Look, const char *> kWords = {{Look::kAsks, "asks"},         {Look::kWrites, "writes"},
                                                      {Look::kConfigures, "config"}, {Look::kMachine, "machine"},
                                                      {Look::kLogs, "logs"},         {Look::kReports, "reports"}};
  return kWords.at(look);
}

std::string table_name(const std::string &number) {
  static const std::map<std::string, std::string> kNames = {
      {"100", "system settings"},   {"280", "access profiles"}, {"330", "widgets"},   {"340", "accounts"},
      {"354", "dashboard entries"}, {"440", "interfaces"},      {"640", "event hub"}, {"14050", "GUI dashboard"},
  };
  const auto found = kNames.find(number);
  return found != kNames.end() ? found->second : "table " + number;
}

using Match = std::smatch;

std::string asks(const Match &m) {
  const std::string result = m[3].str(), status = m[4].str();
  return m[1].str() + " " + m[2].str() + "  ->  " + (status != "0" ? status : "no answer (libcurl " + result + ")");
}

std::string as_it_is(const Match &m) {
  return m[1].str();
}

std::string logs(const Match &m) {
  std::string text = m[1].str();
  if (text.rfind("[kelvane]: ", 0) == 0) {
    text.erase(0, 11);
  }
  while (text.size() >= 2 && text.compare(text.size() - 2, 2, "\\n") == 0) {
    text.erase(text.size() - 2);
  }
  return text;
}

struct Rule {
  std::regex pattern;
  Look look;
  std::string (*text)(const Match &);
};

// The first rule that fits the whole line behind the seconds tells it.
const std::vector<Rule> &rules() {
  static const std::vector<Rule> kRules = {
      {std::regex("request (\\S+) (\\S+) = (\\d+) (\\d+)"), Look::kAsks, asks},
      {std::regex("request (.* fails as planned.*)"), Look::kAsks, as_it_is},
      {std::regex("log (.*)"), Look::kLogs, logs},
      {std::regex("system f?open\\(\"(/[^\"]+)\", \"[wax]+\"\\) = ok"), Look::kWrites, as_it_is},
      {std::regex("system rename\\(\"([^\"]+)\", \"([^\"]+)\"\\) = 0"), Look::kWrites,
       [](const Match &m) { return m[2].str() + ", moved there from " + m[1].str(); }},
      {std::regex("system symlink\\(\"([^\"]+)\", \"([^\"]+)\"\\) = 0"), Look::kWrites,
       [](const Match &m) { return m[2].str() + ", a link to " + m[1].str(); }},
      {std::regex("platform ncfg_copyfile\\(\"([^\"]+)\", \"([^\"]+)\"\\).*"), Look::kWrites,
       [](const Match &m) { return m[2].str() + ", a copy of " + m[1].str(); }},
      {std::regex("system mount\\(\"([^\"]+)\", \"([^\"]+)\", \"([^\"]+)\".* = (.*)"), Look::kMachine,
       [](const Match &m) {
         return "mount " + m[1].str() + " as " + m[3].str() + (m[4].str() == "0" ? "" : ": " + m[4].str());
       }},
      {std::regex("system umount\\(\"([^\"]+)\"\\) = 0"), Look::kMachine,
       [](const Match &m) { return "unmount " + m[1].str(); }},
      {std::regex("system sethostname\\(\"([^\"]+)\".*"), Look::kMachine,
       [](const Match &m) { return "host name " + m[1].str(); }},
      {std::regex("system (kill\\(.*)"), Look::kMachine, as_it_is},
      {std::regex("platform cmf_query_table_append\\(354 of (\"[^\"]*\"), (.*)\\) = 0"), Look::kConfigures,
       [](const Match &m) { return "append to the dashboard of " + m[1].str() + ": " + m[2].str(); }},
      {std::regex("platform cmf_query_table_append\\((\\d+)( of \"[^\"]*\")?, (.*)\\) = 0"), Look::kConfigures,
       [](const Match &m) { return "append to " + table_name(m[1]) + m[2].str() + ": " + m[3].str(); }},
      {std::regex("platform __nCfg_sess_table_change_by_mkey\\(\\d+, (\\d+), (.*), \\d+\\) = 0"), Look::kConfigures,
       [](const Match &m) { return "change in " + table_name(m[1]) + ": " + m[2].str(); }},
      {std::regex("platform nCfg_table_delete_by_mkey\\((\\d+), (.*)\\) = 0"), Look::kConfigures,
       [](const Match &m) { return "delete from " + table_name(m[1]) + ": " + m[2].str(); }},
      {std::regex("platform cmf_query_commit\\((\\d+)\\) = 0"), Look::kConfigures,
       [](const Match &m) { return "change in " + table_name(m[1]); }},
      {std::regex("platform cmf_write_config\\(.*\\) = (.*)"), Look::kConfigures,
       [](const Match &m) {
         return m[1].str() == "0" ? std::string("made durable") : "NOT made durable: " + m[1].str();
       }},
      {std::regex("platform ssh_pubkey_data_set\\((.*)\\) = 0"), Look::kConfigures,
       [](const Match &m) { return "SSH key: " + m[1].str(); }},
      {std::regex("platform log_system_event\\((.*)\\).*"), Look::kConfigures,
       [](const Match &m) { return "system event: " + m[1].str(); }},
  };
  return kRules;
}

struct Heading {
  const char *begins;  // found in the first trace line of what the heading stands for
  const char *text;
};

constexpr Heading kHeadings[] = {
    {"platform conf_init()", "Start-up: configuration, time zone, pid file, a new transport key and certificate"},
    {"platform cmf_query_do_table_find(340, 0, \"admin\"",
     "First boot: the built-in administrator is locked with a random password that nobody knows"},
    {"system mkdir(\"/cdrom\"", "The provisioning CD-ROM is mounted, copied and unmounted"},
    {"log [kelvane]: Determining protocol", "Which protocol? The wire server's endpoint is looked for in port1"},
    {"log [kelvane]: Protocol: wire",
     "Endpoint found. Wire server: versions, goal state, certificates (unwrapped into both stores), extensions"},
    {"log [kelvane]: Protocol: metadata", "No endpoint: the metadata service instead"},
    {"log [kelvane]: Provisioning...", "Provisioning: host name, interfaces, account, dashboard, keys, marker"},
    {"sleep 1", "The loop: a second at a time; every 25 an extension pass, every 60 telemetry"},
};

// The position behind "[12] ", or npos.
size_t behind_seconds(const std::string &line) {
  const size_t end = line.empty() || line[0] != '[' ? std::string::npos : line.find("] ");
  return end == std::string::npos ? end : end + 2;
}

}  // namespace

int64_t second_of(const std::string &trace_line) {
  return behind_seconds(trace_line) == std::string::npos ? -1 : std::atoll(trace_line.c_str() + 1);
}

const char *heading_of(const std::string &trace_line) {
  const size_t begin = behind_seconds(trace_line);
  for (const Heading &heading : kHeadings) {
    if (begin != std::string::npos && trace_line.compare(begin, std::strlen(heading.begins), heading.begins) == 0) {
      return heading.text;
    }
  }
  return nullptr;
}

bool is_report(const std::string &trace_line) {
  static const std::regex kPattern("\\[\\d+\\] request (POST|PUT) \\S+ = \\d+ [1-9]\\d*");
  return std::regex_match(trace_line, kPattern);
}

std::optional<Entry> tell(const std::string &trace_line) {
  const size_t begin = behind_seconds(trace_line);
  if (begin == std::string::npos) {
    return std::nullopt;
  }
  const std::string rest = trace_line.substr(begin);
  Match match;
  for (const Rule &rule : rules()) {
    if (std::regex_match(rest, match, rule.pattern)) {
      return Entry{second_of(trace_line), rule.look, rule.text(match)};
    }
  }
  return std::nullopt;
}

void print(const Entry &entry) {
  char begin[40];
  std::snprintf(begin, sizeof begin, "  %4lld s  %-7s  ", static_cast<long long>(entry.second), word_of(entry.look));
  say(begin + entry.text, entry.look);
}

std::vector<std::string> Follower::lines() {
  if (!stream_.is_open()) {
    stream_.open(file_);
  }
  std::vector<std::string> whole;
  stream_.clear();
  for (int c = stream_.get(); c != std::ifstream::traits_type::eof(); c = stream_.get()) {
    if (c == '\n') {
      whole.push_back(std::exchange(partial_, std::string()));
    } else {
      partial_ += static_cast<char>(c);
    }
  }
  return whole;
}

}  // namespace demo
