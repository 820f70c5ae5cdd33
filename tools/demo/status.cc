#include "tools/demo/status.h"

#include "tools/demo/fabric_client.h"
#include "tools/fabric/bytes.h"

namespace demo {
namespace {

const Json &at(const Json &object, const char *key) {
  static const Json kNone;
  return object.is_object() && object.contains(key) ? object[key] : kNone;
}

std::string word(const Json &value) {
  return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string settings_line(const Json &handler) {
  const Json &settings = at(handler, "runtimeSettingsStatus");
  const Json &status = at(at(settings, "settingsStatus"), "status");
  if (!status.is_object()) {
    return "";
  }
  return "\n    settings " + word(at(settings, "sequenceNumber")) + ", applied " +
         word(at(status, "configurationAppliedTime")) + ": " + word(at(status, "operation")) + " " +
         word(at(status, "status")) + ", " + at(at(status, "formattedMessage"), "message").dump();
}

std::string handler_line(const Json &handler) {
  return "  " + word(at(handler, "handlerName")) + " " + word(at(handler, "handlerVersion")) + ": " +
         word(at(handler, "status")) + settings_line(handler) + "\n";
}

}  // namespace

std::vector<StatusDocument> status_documents(uint16_t port) {
  std::vector<StatusDocument> all;
  for (const Json &one : Json::parse(http_get(port, "/_fabric/status"))) {
    all.push_back(
        {one.at("blob"), one.at("type"), one.at("incarnation"), one.at("size"), one.at("writes"), one.at("text")});
  }
  return all;
}

std::string mismatch(const Step &step, const StatusDocument &document) {
  if (!step.type.empty() && step.type != document.type) {
    return "expected a " + step.type + ", came a " + document.type;
  }
  if (!step.blob.empty() && !kelvane::fabric::glob_match(step.blob, document.blob)) {
    return "expected in " + step.blob + ", came in " + document.blob;
  }
  return step.status.mismatch(document.text);
}

std::string in_words(const StatusDocument &document) {
  std::string text = document.type + " " + document.blob + ", " + std::to_string(document.size) + " bytes\n";
  const Json json = Json::parse(document.text, nullptr, false);
  const Json &aggregate = at(json, "aggregateStatus"), &agent = at(aggregate, "guestAgentStatus");
  text += "at " + word(at(json, "timestampUTC")) + ", agent " + word(at(agent, "version")) + ": " +
          word(at(agent, "status")) + ", " + at(at(agent, "formattedMessage"), "message").dump() + "\n";
  const Json &handlers = at(aggregate, "handlerAggregateStatus");
  for (const Json &handler : handlers) {
    text += handler_line(handler);
  }
  return text + (handlers.empty() ? "  no extensions\n" : "");
}

}  // namespace demo
