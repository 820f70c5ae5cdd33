#include "tools/fabric/documents.h"

#include "tools/fabric/bytes.h"

namespace kelvane::fabric {

namespace {

std::string element(const std::string &name, const std::string &text) {
  return "<" + name + ">" + xml_escape(text) + "</" + name + ">";
}

std::string uri(const GoalStateSpec &state, const std::string &host, const std::string &query) {
  return "http://" + host + "/machine/" + state.container_id + "/" + state.instance_id + "?comp=" + query +
         "&incarnation=" + state.incarnation;
}

}  // namespace

std::vector<GoalStateValue> goal_state_values(const GoalStateSpec &state, const std::string &host) {
  return {{"Incarnation", state.incarnation},
          {"ExpectedState", state.expected_state},
          {"Port", state.port},
          {"ContainerId", state.container_id},
          {"InstanceId", state.instance_id},
          {"HostingEnvironmentConfig", uri(state, host, "config&type=hostingEnvironmentConfig")},
          {"SharedConfig", uri(state, host, "config&type=sharedConfig")},
          {"ExtensionsConfig", uri(state, host, "config&type=extensionsConfig")},
          {"Certificates", uri(state, host, "certificates")},
          {"ConfigName", state.config_name}};
}

std::string versions_document() {
  return std::string(kXmlDeclaration) +
         "<Versions>\n<Preferred>\n<Version>2012-11-30</Version>\n</Preferred>\n<Supported>\n"
         "<Version>2012-11-30</Version>\n<Version>2011-10-13</Version>\n</Supported>\n</Versions>\n";
}

std::string goal_state_document(const GoalStateSpec &state, const std::string &host) {
  std::vector<std::string> lines;
  for (const GoalStateValue &value : goal_state_values(state, host))
    lines.push_back(element(value.element, value.value) + "\n");
  std::string out = std::string(kXmlDeclaration) + "<GoalState>\n<Version>2012-11-30</Version>\n" + lines[0] +
                    "<Machine>\n" + lines[1] + "<LBProbePorts>\n" + lines[2] + "</LBProbePorts>\n</Machine>\n" +
                    "<Container>\n" + lines[3] + "<RoleInstanceList>\n<RoleInstance>\n" + lines[4] +
                    "<Configuration>\n" + lines[5] + lines[6] + lines[7] + lines[8] + lines[9] +
                    "</Configuration>\n</RoleInstance>\n</RoleInstanceList>\n</Container>\n</GoalState>\n";
  for (const std::string &name : state.omit) out = without_element(std::move(out), name);
  return out;
}

std::string hosting_environment_document(const GoalStateSpec &state) {
  return std::string(kXmlDeclaration) + "<HostingEnvironmentConfig" + xml_attribute("version", "1.0.0.0") +
         xml_attribute("goalStateIncarnation", state.incarnation) + ">\n<Deployment" + xml_attribute("name", "fabric") +
         " />\n<Incarnation number=\"1\"" + xml_attribute("instance", state.instance_id) + " />\n<Role" +
         xml_attribute("name", "kelvane-role") + " />\n</HostingEnvironmentConfig>\n";
}

std::string shared_config_document(const GoalStateSpec &state) {
  return std::string(kXmlDeclaration) + "<SharedConfig" + xml_attribute("version", "1.0.0.0") +
         xml_attribute("goalStateIncarnation", state.incarnation) + ">\n<Deployment" + xml_attribute("name", "fabric") +
         " />\n<Instances>\n<Instance" + xml_attribute("id", state.instance_id) +
         " />\n</Instances>\n</SharedConfig>\n";
}

std::string certificates_document(const GoalStateSpec &state, const DataLinesSpec &lines, const std::string &data) {
  std::string text = in_lines(data, static_cast<size_t>(lines.line_length), lines.indent);
  if (lines.leading_newline) text.insert(0, 1, '\n');
  if (lines.trailing_newline) text += '\n';
  return std::string(kXmlDeclaration) + "<CertificateFile>\n<Version>2012-11-30</Version>\n" +
         element("Incarnation", state.incarnation) + "\n<Format>CmsWithPkcs12</Format>\n<Data>" + text +
         "</Data>\n</CertificateFile>\n";
}

std::string without_element(std::string document, const std::string &name) {
  const std::string closing = "</" + name + ">";
  for (size_t from = 0;;) {
    size_t start = document.find("<" + name, from);
    if (start == std::string::npos) return document;
    from = start + 1;
    size_t after = start + 1 + name.size();
    size_t tag_end = document.find('>', start);
    if (tag_end == std::string::npos || std::string(" >/\n").find(document[after]) == std::string::npos) continue;
    size_t end = tag_end + 1;
    if (document[tag_end - 1] != '/') {
      end = document.find(closing, tag_end);
      if (end == std::string::npos) continue;
      end += closing.size();
    }
    document.erase(start, end - start);
    from = start;
  }
}

}  // namespace kelvane::fabric
