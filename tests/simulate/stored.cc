#include "tests/simulate/stored.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <vector>

#include "tests/simulate/check_json.h"
#include "tests/simulate/recorded.h"
#include "tests/simulate/told.h"
#include "tests/simulate/view.h"

namespace simulate {

namespace {

Json config_of(const Expected &plugin) {
  Json config = {{"installed", plugin.installed}};
  if (plugin.installed != 0) {
    config["seqno"] = plugin.sequence_number;
    config["cmdtime"] = plugin.command_time;
    config["extname"] = plugin.extension_name;
    config["message"] = plugin.message;
  }
  return config;
}

Json element_of(int row, const Expected &plugin) {
  Json element = {{"name", kNameTexts[row]}, {"version", plugin.version}, {"config", config_of(plugin)}};
  if (plugin.state != State::kAbsent) {
    element["handlerstate"] = plugin.state == State::kEnabled ? "enabled" : "installed";
  }
  return element;
}

// Kept as it was made last: a command changes one plugin of all that are written.
const Json &element_kept(int row, const Expected &plugin) {
  static Expected made_of[kNames];
  static Json elements[kNames];
  if (elements[row].is_null() || std::memcmp(&made_of[row], &plugin, sizeof plugin) != 0) {
    std::memcpy(&made_of[row], &plugin, sizeof plugin);
    elements[row] = element_of(row, plugin);
  }
  return elements[row];
}

// ---- the status document ---------------------------------------------------------------------------------------

// What is empty is null.
Json text_or_null(const std::string &text) {
  return text.empty() ? Json() : Json(text);
}

Json formatted(const std::string &text) {
  return {{"lang", "en-US"}, {"message", text_or_null(text)}};
}

// By the name under which the extension's status is recorded: the latest status of six names at most.
std::map<std::string, int> recorded(const Revision &revision) {
  std::map<std::string, int> names;
  for (int i = 0; i < revision.count; i++) {
    const Wanted &wanted = revision.wanted[i];
    const Expected &plugin = expectation().plugins[wanted.name];
    if (has_status(wanted, plugin) && plugin.state != State::kAbsent && settings_entry(revision, i) != nullptr &&
        (names.size() < 6 || names.count(kNameTexts[wanted.name]) != 0)) {
      names[kNameTexts[wanted.name]] = wanted.name;
    }
  }
  return names;
}

Json settings_status_of(const std::string &name, int row) {
  const Told told = told_of(row, expectation().plugins[row]);
  const Json status = {{"name", name},
                       {"configurationAppliedTime", text_or_null(told.applied)},
                       {"operation", text_or_null(told.operation)},
                       {"status", text_or_null(told.status)},
                       {"code", 0},
                       {"formattedMessage", formatted(told.message)}};
  return {{"settingsStatus", {{"status", status}, {"version", "1.0"}, {"timestampUTC", time_text(recorded_at())}}},
          {"sequenceNumber", told.sequence_number}};
}

Json handler_of(int row, const std::map<std::string, int> &names) {
  const Expected &plugin = expectation().plugins[row];
  Json handler = {{"handlerVersion", plugin.version},
                  {"handlerName", cut(kNameTexts[row], 127)},
                  {"status", plugin.installed != 0 ? "Ready" : "NotReady"},
                  {"code", 0}};
  if (plugin.message[0] != '\0') {
    handler["formattedMessage"] = formatted(cut(plugin.message, 127));
  }
  if (!names.empty()) {
    const auto found = names.find(cut(plugin.extension_name, 127));
    handler["runtimeSettingsStatus"] =
        found != names.end() ? settings_status_of(found->first, found->second) : Json::object();
  }
  return handler;
}

Json handlers_of(const Revision &revision) {
  const auto names = recorded(revision);
  Json handlers = Json::array();
  for (int i = 0; i < revision.count && handlers.size() < 3; i++) {
    const Wanted &wanted = revision.wanted[i];
    if (has_status(wanted, expectation().plugins[wanted.name])) {
      handlers.push_back(handler_of(wanted.name, names));
    }
  }
  return handlers;
}

// The text of what was put. In pages it is filled up with zeroes, and a document that fills its pages to the last byte
// deliberately loses that byte to the terminator.
std::string text_of(const std::string &put) {
  constexpr size_t kPage = 512;
  const size_t length = std::min(put.find('\0'), put.size());
  std::string text = put.substr(0, length);
  if (length + 1 == put.size() && put.size() % kPage == 0 && text.back() != '}') {
    text += '}';
  }
  return text;
}

}  // namespace

void check_status_file(std::string_view bytes) {
  const Json file = parse_json("status file", bytes);
  const Expectation &durable = world().durable;
  bool found[kNames] = {};
  for (const Json &element : file) {
    const int row = row_of(element.at("name").get_ref<const std::string &>().c_str());
    if (row < 0 || !durable.plugins[row].known || found[row]) {
      broken("the status file holds %s, which is nobody's or there twice", element.dump().c_str());
    }
    found[row] = true;
    same_json(std::string("status file: ") + kNameTexts[row], element, element_kept(row, durable.plugins[row]));
  }
  for (int row = 0; row < kNames; row++) {
    if (durable.plugins[row].known && !found[row]) {
      broken("the status file lacks %s", kNameTexts[row]);
    }
  }
}

void check_status_document(const std::string &document) {
  const Json is = parse_json("status document", text_of(document));
  const Json handlers = handlers_of(view().effective);
  const Json &told = is.at("aggregateStatus").at("handlerAggregateStatus");
  for (size_t i = 0; i < std::min(told.size(), handlers.size()); i++) {
    same_json("a handler of the status document", told.at(i), handlers.at(i));
  }
  const Json agent = {
      {"version", "2.2.26"}, {"status", "Ready"}, {"formattedMessage", formatted("Guest Agent is running")}};
  same_json("the status document", is,
            {{"aggregateStatus", {{"guestAgentStatus", agent}, {"handlerAggregateStatus", handlers}}},
             {"version", "1.0"},
             {"timestampUTC", time_text(recorded_at())}});
}

}  // namespace simulate
