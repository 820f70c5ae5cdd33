#include "tests/fabric/storage_client.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace kelvane::fabric_test {

std::string event_parameters(const std::string &name, const std::string &operation, const std::string &message,
                             const std::string &success) {
  return "<Param Name=\"OpcodeName\" T=\"mt:wstr\" Value=\"\" />"
         "<Param Name=\"IsInternal\" T=\"mt:bool\" Value=\"False\" />"
         "<Param Name=\"ExecutionMode\" T=\"mt:wstr\" Value=\"IAAS\" />"
         "<Param Name=\"KeywordName\" T=\"mt:wstr\" Value=\"\" />"
         "<Param Name=\"TaskName\" T=\"mt:wstr\" Value=\"\" />"
         "<Param Name=\"ExtensionType\" T=\"mt:wstr\" Value=\"\" />"
         "<Param Name=\"GAVersion\" T=\"mt:wstr\" Value=\"TorvikGuest-2.0.16\" />"
         "<Param Name=\"OSVersion\" T=\"mt:wstr\" Value=\"Pellix 5.4.2\" />"
         "<Param Name=\"ContainerId\" T=\"mt:wstr\" Value=\"\" />"
         "<Param Name=\"TenantName\" T=\"mt:wstr\" Value=\"\" />"
         "<Param Name=\"Processors\" T=\"mt:uint64\" Value=\"2\" />"
         "<Param Name=\"RoleName\" T=\"mt:wstr\" Value=\"\" />"
         "<Param Name=\"RoleInstanceName\" T=\"mt:wstr\" Value=\"\" />"
         "<Param Name=\"RAM\" T=\"mt:uint64\" Value=\"2048\" />"
         "<Param Name=\"OperationSuccess\" T=\"mt:bool\" Value=\"" +
         success +
         "\" />"
         "<Param Name=\"Version\" T=\"mt:wstr\" Value=\"1.2.0.0\" />"
         "<Param Name=\"Name\" T=\"mt:wstr\" Value=\"" +
         name +
         "\" />"
         "<Param Name=\"Message\" T=\"mt:wstr\" Value=\"" +
         message +
         "\" />"
         "<Param Name=\"Operation\" T=\"mt:wstr\" Value=\"" +
         operation +
         "\" />"
         "<Param Name=\"Duration\" T=\"mt:uint64\" Value=\"0\" />";
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
