#include "tests/simulate/metadata_reports.h"

#include <ctime>

#include "tests/simulate/check_json.h"
#include "tests/simulate/view.h"

namespace simulate {

namespace {

struct Told {
  const char *operation, *status, *message;  // null for what the plugin holds
};

// By the row of the name; the rest are nobody's.
constexpr Told kTold[] = {
    {"Daemon", "success", nullptr},
    {"Enable", "success", "Enable ASM succeeded."},
    {"Enable", "success", "Enable succeeded."},
    {"Enable", nullptr, nullptr},
};
constexpr Told kNobodys = {"Enable", "error", "Not supported."};

const Told &told_of(int row) {
  return row < static_cast<int>(sizeof kTold / sizeof *kTold) ? kTold[row] : kNobodys;
}

std::string time_text(int64_t at) {
  const time_t seconds = at;
  tm parts = {};
  char text[32] = "";
  if (at != 0 && gmtime_r(&seconds, &parts) != nullptr) {
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  }
  return text;
}

Json handler_of(int row, const Expected &plugin) {
  return {{"name", cut(kNameTexts[row], 127)},
          {"version", plugin.version},
          {"status", plugin.installed != 0 ? "Ready" : "NotReady"},
          {"message", cut(plugin.message, 127)},
          {"extensions", {cut(plugin.extension_name, 127)}}};
}

void check_vm_status(const std::string &document) {
  const Revision &revision = view().effective;
  Json handlers = Json::array();
  for (int i = 0; i < revision.count && handlers.size() < 3; i++) {
    const Wanted &wanted = revision.wanted[i];
    const Expected &plugin = expectation().plugins[wanted.name];
    if (has_status(wanted, plugin)) {
      handlers.push_back(handler_of(wanted.name, plugin));
    }
  }
  same_json("the machine's status", parse_json("machine's status", document),
            {{"vmAgent", {{"version", "2.2.26"}, {"status", "Ready"}, {"message", "Guest Agent is running"}}},
             {"extensionHandlers", handlers}});
}

void check_extension(const std::string &name, const std::string &document, int row, const Expected &plugin) {
  const std::string what = "the status of " + name;
  const Json is = parse_json(what.c_str(), document);
  const Told &told = told_of(row);
  const bool installed = plugin.installed != 0;
  same_json(what + ", code", is.at("code"), "0");
  same_json(what + ", number", is.at("sequenceNumber"), installed ? plugin.sequence_number : 0);
  same_json(what + ", time", is.at("configurationAppliedTime"), installed ? time_text(plugin.command_time) : "");
  same_json(what + ", operation", is.at("operation"), installed ? told.operation : "");
  same_json(what + ", message", is.at("message"),
            !installed                ? ""
            : told.message != nullptr ? told.message
                                      : plugin.message);
  if (told.status != nullptr) {
    same_json(what + ", status", is.at("status"), installed ? told.status : "");
  }
}

void check_extensions(const std::map<std::string, std::string> &sent) {
  const Revision &revision = view().effective;
  std::map<std::string, int> should;
  for (int i = 0; i < revision.count; i++) {
    const Wanted &wanted = revision.wanted[i];
    const Expected &plugin = expectation().plugins[wanted.name];
    if (has_status(wanted, plugin) && plugin.state != State::kAbsent && settings_entry(revision, i) != nullptr) {
      should[cut(plugin.extension_name, 127)] = wanted.name;
    }
  }
  same_json("the number of extensions that a status is sent for", sent.size(), should.size());
  for (const auto &[name, row] : should) {
    const auto found = sent.find(name);
    if (found == sent.end()) {
      broken("no status is sent for %s", name.c_str());
    }
    check_extension(name, found->second, row, expectation().plugins[row]);
  }
}

}  // namespace

void check_metadata_reports(const Sent &sent) {
  check_vm_status(sent.vm_status);
  check_extensions(sent.extensions);
}

}  // namespace simulate
