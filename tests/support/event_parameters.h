// The twenty parameters of a telemetry event in the agent's form and order.
#ifndef KELVANE_TESTS_SUPPORT_EVENT_PARAMETERS_H
#define KELVANE_TESTS_SUPPORT_EVENT_PARAMETERS_H

#include <map>
#include <string>

namespace support {

// With these values, as they stand in the document (escaped); a name that is not given has the value that an event
// about nothing has on a machine of 3 processors and 8192 MiB.
inline std::string event_parameters(const std::map<std::string, std::string> &values) {
  struct Parameter {
    const char *name;
    const char *type;
    const char *value;
  };
  static constexpr Parameter kParameters[] = {
      {"OpcodeName", "wstr", ""},
      {"IsInternal", "bool", "False"},
      {"ExecutionMode", "wstr", "IAAS"},
      {"KeywordName", "wstr", ""},
      {"TaskName", "wstr", ""},
      {"ExtensionType", "wstr", ""},
      {"GAVersion", "wstr", "TorvikGuest-2.0.16"},
      {"OSVersion", "wstr", ""},
      {"ContainerId", "wstr", ""},
      {"TenantName", "wstr", ""},
      {"Processors", "uint64", "3"},
      {"RoleName", "wstr", ""},
      {"RoleInstanceName", "wstr", ""},
      {"RAM", "uint64", "8192"},
      {"OperationSuccess", "bool", "False"},
      {"Version", "wstr", ""},
      {"Name", "wstr", ""},
      {"Message", "wstr", ""},
      {"Operation", "wstr", "Unknown"},
      {"Duration", "uint64", "0"},
  };
  std::string text;
  for (const Parameter &each : kParameters) {
    const auto given = values.find(each.name);
    text += std::string("<Param Name=\"") + each.name + "\" T=\"mt:" + each.type + "\" Value=\"" +
            (given != values.end() ? given->second : each.value) + "\" />";
  }
  return text;
}

}  // namespace support

#endif
