#include "tests/simulate/metadata_reports.h"

#include "tests/simulate/check_json.h"
#include "tests/simulate/told.h"
#include "tests/simulate/view.h"

namespace simulate {

namespace {

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
  const Told told = told_of(row, plugin);
  same_json(what, parse_json(what.c_str(), document),
            {{"configurationAppliedTime", told.applied},
             {"operation", told.operation},
             {"status", told.status},
             {"sequenceNumber", told.sequence_number},
             {"code", "0"},
             {"message", told.message}});
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
