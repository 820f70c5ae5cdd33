#include "tests/fabric/storage_client.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/support/event_parameters.h"

namespace kelvane::fabric_test {

std::string event_parameters(const std::string &name, const std::string &operation, const std::string &message,
                             const std::string &success) {
  return support::event_parameters({{"OSVersion", "Pellix 5.4.2"},
                                    {"Processors", "2"},
                                    {"RAM", "2048"},
                                    {"OperationSuccess", success},
                                    {"Version", "1.2.0.0"},
                                    {"Name", name},
                                    {"Message", message},
                                    {"Operation", operation}});
}

std::string telemetry(const std::string &events) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<TelemetryData version=\"1.0\">"
         "<Provider id=\"69B669B9-4AF8-4C50-BDC4-6006FA76E975\">" +
         events + "</Provider></TelemetryData>";
}

std::string finding_of(const FabricProgram &fabric, const std::string &name) {
  const auto verdict = nlohmann::json::parse(fabric.control("GET", "/_fabric/verdict").body);
  for (const auto &one : verdict["expectations"])
    if (one["name"] == name) return one["held"] == true ? "held" : one["explanation"].get<std::string>();
  return "(none)";
}

std::string replaced(std::string text, const std::string &from, const std::string &to) {
  size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

}  // namespace kelvane::fabric_test
