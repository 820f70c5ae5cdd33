#include <algorithm>
#include <array>

#include "tools/fabric/bytes.h"
#include "tools/fabric/judge.h"
#include "tools/fabric/judge_xml.h"

namespace kelvane::fabric {

namespace {

constexpr char kProvider[] = "69B669B9-4AF8-4C50-BDC4-6006FA76E975";
constexpr char kText[] = "mt:wstr";
constexpr char kFlag[] = "mt:bool";
constexpr char kNumber[] = "mt:uint64";

// One parameter of an event. `fixed` is its value; none: by its type, or any text.
struct ParameterRow {
  const char *name;
  const char *type;
  const char *fixed;
};

constexpr std::array<ParameterRow, 20> kParameters{{
    {"OpcodeName", kText, ""},
    {"IsInternal", kFlag, "False"},
    {"ExecutionMode", kText, "IAAS"},
    {"KeywordName", kText, ""},
    {"TaskName", kText, ""},
    {"ExtensionType", kText, ""},
    {"GAVersion", kText, "TorvikGuest-2.0.16"},
    {"OSVersion", kText, nullptr},
    {"ContainerId", kText, nullptr},
    {"TenantName", kText, nullptr},
    {"Processors", kNumber, nullptr},
    {"RoleName", kText, nullptr},
    {"RoleInstanceName", kText, nullptr},
    {"RAM", kNumber, nullptr},
    {"OperationSuccess", kFlag, nullptr},
    {"Version", kText, nullptr},
    {"Name", kText, nullptr},
    {"Message", kText, nullptr},
    {"Operation", kText, nullptr},
    {"Duration", kNumber, nullptr},
}};

constexpr std::array kOperations{"Unknown", "HeartBeat", "Provision", "Install", "UnInstall",   "Disable",
                                 "Enable",  "Download",  "Upgrade",   "Update",  "HealthCheck", "Restart"};

std::string value_of(const pugi::xml_node &parameter) {
  return parameter.attribute("Value").value();
}

// What the value must be, in words; empty when it is that.
std::string wrong_value(const ParameterRow &row, const std::string &value) {
  if (row.fixed != nullptr) return value == row.fixed ? "" : in_quotes(row.fixed);
  if (row.type == std::string(kFlag)) return value == "True" || value == "False" ? "" : "\"True\" or \"False\"";
  if (row.type == std::string(kNumber)) return decimal_number(value) ? "" : "a whole number";
  if (row.name != std::string("Operation")) return "";
  return std::find(kOperations.begin(), kOperations.end(), value) != kOperations.end() ? "" : "one of the operations";
}

void judge_parameter(const pugi::xml_node &parameter, const ParameterRow &row, const std::string &event,
                     Judgement &judgement) {
  const std::string path = event + "/" + row.name;
  if (parameter.name() != std::string("Param")) {
    judgement.add(path, "<Param> here", tag_name(parameter));
    return;
  }
  judge_attributes(parameter, {{"Name", row.name}, {"T", row.type}, {"Value", "*"}}, path, judgement);
  if (parameter.first_child()) judgement.add(path, "an empty element", tag_name(parameter.first_child()));
  const std::string expected = wrong_value(row, value_of(parameter));
  if (!expected.empty()) judgement.add(path, expected, in_quotes(value_of(parameter)));
}

// The twenty parameters, and what they say.
Event judge_parameters(const pugi::xml_node &data, const std::string &path,
                       const std::vector<std::string> &container_ids, Judgement &judgement) {
  pugi::xml_node parameter = data.first_child();
  for (const ParameterRow &row : kParameters) {
    judge_parameter(parameter, row, path, judgement);
    parameter = parameter.next_sibling();
  }
  if (parameter) judgement.add(path, "nothing more", tag_name(parameter));
  auto value = [&](const char *name) { return value_of(data.find_child_by_attribute("Param", "Name", name)); };
  const std::string container = value("ContainerId");
  bool told = std::find(container_ids.begin(), container_ids.end(), container) != container_ids.end();
  if (!container.empty() && !told)
    judgement.add(path + "/ContainerId", "one that a goal state told", in_quotes(container));
  return {value("Name"),    value("Operation"), value("OperationSuccess") == "True",
          value("Version"), value("Message"),   decimal_number(value("Duration")).value_or(0)};
}

// An event's only content is one CDATA section, which is the sequence of its parameters.
Event judge_event(const pugi::xml_node &event, const std::string &path, const std::vector<std::string> &container_ids,
                  Judgement &judgement) {
  judge_attributes(event, {{"id", "1"}}, path, judgement);
  const pugi::xml_node content = event.first_child();
  if (content.type() != pugi::node_cdata || content.next_sibling()) {
    judgement.add(path, "one CDATA section alone",
                  content.type() == pugi::node_cdata ? tag_name(content.next_sibling()) : tag_name(content));
    return {};
  }
  pugi::xml_document parameters;
  if (!load_xml("<DATA>" + std::string(content.value()) + "</DATA>", parameters, judgement)) return {};
  return judge_parameters(parameters.document_element(), path, container_ids, judgement);
}

std::vector<Event> judge_provider(const pugi::xml_node &provider, const std::vector<std::string> &container_ids,
                                  Judgement &judgement) {
  const std::string path = "/TelemetryData/Provider";
  judge_attributes(provider, {{"id", kProvider}}, path, judgement);
  std::vector<Event> events;
  for (const pugi::xml_node &event : provider.children()) {
    const std::string name = path + "/Event[" + std::to_string(events.size() + 1) + "]";
    if (event.name() != std::string("Event")) judgement.add(path, "<Event> here", tag_name(event));
    events.push_back(judge_event(event, name, container_ids, judgement));
  }
  if (events.empty() || events.size() > 3)
    judgement.add(path, "one to three events", std::to_string(events.size()) + " of them");
  return events;
}

void judge_declaration(const std::string &body, Judgement &judgement) {
  const std::string declaration = body.substr(0, body.find("?>") + 2);
  if (declaration != "<?xml version=\"1.0\"?>" && declaration != "<?xml version=\"1.0\" encoding=\"utf-8\"?>")
    judgement.add("body", "to begin with an XML declaration, version 1.0", in_quotes(body.substr(0, 60)));
}

}  // namespace

std::vector<Event> judge_telemetry(const std::string &body, const std::vector<std::string> &container_ids,
                                   Judgement &judgement) {
  pugi::xml_document document;
  if (!load_xml(body, document, judgement)) return {};
  judge_declaration(body, judgement);
  const pugi::xml_node root = document.document_element();
  if (root.name() != std::string("TelemetryData")) {
    judgement.add("body", "<TelemetryData>", tag_name(root));
    return {};
  }
  judge_attributes(root, {{"version", "1.0"}}, "/TelemetryData", judgement);
  const pugi::xml_node provider = root.first_child();
  if (provider.name() != std::string("Provider") || provider.next_sibling()) {
    judgement.add("/TelemetryData", "<Provider> alone",
                  tag_name(provider.name() == std::string("Provider") ? provider.next_sibling() : provider));
    return {};
  }
  return judge_provider(provider, container_ids, judgement);
}

}  // namespace kelvane::fabric
