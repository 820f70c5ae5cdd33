#include "tests/simulate/stored.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <vector>

#include "tests/simulate/check_json.h"
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

Json formatted(const std::string &text) {
  return {{"lang", "en-US"}, {"message", text.empty() ? Json() : Json(text)}};
}

// By the name under which the extension's status is recorded: the latest status of six names at most.
std::map<std::string, const Expected *> recorded(const Revision &revision) {
  std::map<std::string, const Expected *> names;
  for (int i = 0; i < revision.count; i++) {
    const Wanted &wanted = revision.wanted[i];
    const Expected &plugin = expectation().plugins[wanted.name];
    if (has_status(wanted, plugin) && plugin.state != State::kAbsent && settings_entry(revision, i) != nullptr &&
        (names.size() < 6 || names.count(kNameTexts[wanted.name]) != 0)) {
      names[kNameTexts[wanted.name]] = &plugin;
    }
  }
  return names;
}

void check_handler(const Json &is, int row, const Expected &plugin,
                   const std::map<std::string, const Expected *> &names) {
  const std::string what = std::string("the status of ") + kNameTexts[row];
  same_json(what + ", name", is.at("handlerName"), cut(kNameTexts[row], 127));
  same_json(what + ", version", is.at("handlerVersion"), plugin.version);
  same_json(what + ", status", is.at("status"), plugin.installed != 0 ? "Ready" : "NotReady");
  same_json(what + ", message", is.value("formattedMessage", Json()),
            plugin.message[0] != '\0' ? formatted(cut(plugin.message, 127)) : Json());
  if (names.empty()) {
    same_json(what + ", settings status", is.contains("runtimeSettingsStatus"), false);
    return;
  }
  const Json settings = is.at("runtimeSettingsStatus");
  const auto found = names.find(cut(plugin.extension_name, 127));
  if (found == names.end()) {
    same_json(what + ", settings status", settings, Json::object());
    return;
  }
  // What a plugin says of itself when it is not installed is nothing, and its number is then 0.
  const Expected &told = *found->second;
  same_json(what + ", sequence number", settings.at("sequenceNumber"), told.installed != 0 ? told.sequence_number : 0);
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
  const Json status = parse_json("status document", text_of(document));
  const Json &handlers = status.at("aggregateStatus").at("handlerAggregateStatus");
  const Revision &revision = view().effective;
  const auto names = recorded(revision);
  size_t reported = 0;
  for (int i = 0; i < revision.count && reported < 3; i++) {
    const int row = revision.wanted[i].name;
    const Expected &plugin = expectation().plugins[row];
    if (has_status(revision.wanted[i], plugin)) {
      if (reported == handlers.size()) {
        broken("the status document lacks %s", kNameTexts[row]);
      }
      check_handler(handlers[reported++], row, plugin, names);
    }
  }
  same_json("number of handlers in the status document", handlers.size(), reported);
}

}  // namespace simulate
