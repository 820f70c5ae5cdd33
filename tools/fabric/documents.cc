#include "tools/fabric/documents.h"

#include <nlohmann/json.hpp>

#include "tools/fabric/bytes.h"
#include "tools/fabric/container.h"

namespace kelvane::fabric {

namespace {

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

std::string element(const std::string &name, const std::string &text) {
  return "<" + name + ">" + xml_escape(text) + "</" + name + ">";
}

std::string attribute(const std::string &name, const std::string &value) {
  return " " + name + "=\"" + xml_escape(value) + "\"";
}

std::string uri(const GoalStateSpec &state, const std::string &host, const std::string &query) {
  return "http://" + host + "/machine/" + state.container_id + "/" + state.instance_id + "?comp=" + query +
         "&incarnation=" + state.incarnation;
}

// The runtime settings' JSON, the protected part encrypted to the certificate that the scenario names.
std::string runtime_settings(const ExtensionSpec &extension, const Tenant &tenant) {
  if (extension.runtime_settings) return *extension.runtime_settings;
  using Json = nlohmann::ordered_json;
  Json settings = Json::object();
  const Identity *identity = extension.certificate ? &tenant.named(*extension.certificate) : nullptr;
  if (extension.thumbprint || identity != nullptr)
    settings["protectedSettingsCertThumbprint"] = extension.thumbprint ? *extension.thumbprint : identity->thumbprint;
  if (extension.protected_settings && identity != nullptr)
    settings["protectedSettings"] = protect_settings(*extension.protected_settings, identity->certificate.get());
  else if (extension.protected_settings)
    settings["protectedSettings"] = *extension.protected_settings;
  if (extension.public_settings) {
    Json open = Json::parse(*extension.public_settings, nullptr, false);
    settings["publicSettings"] = open.is_discarded() ? Json(*extension.public_settings) : open;
  }
  Json document;
  document["runtimeSettings"] = Json::array({Json::object({{"handlerSettings", settings}})});
  return document.dump();
}

std::string plugin(const ExtensionSpec &extension) {
  std::string out = "<Plugin" + attribute("name", extension.name) + attribute("version", extension.version);
  out += attribute("state", extension.state);
  for (const auto &[name, value] : extension.attributes) out += attribute(name, value);
  return out + " />\n";
}

std::string plugin_settings(const ExtensionSpec &extension, const Tenant &tenant) {
  return "<Plugin" + attribute("name", extension.name) + attribute("version", extension.version) +
         ">\n<RuntimeSettings" + attribute("seqNo", std::to_string(extension.sequence_number)) + ">" +
         xml_escape(runtime_settings(extension, tenant)) + "</RuntimeSettings>\n</Plugin>\n";
}

std::string status_upload_blob(const StatusBlobSpec &blob) {
  std::string text = xml_escape(blob.url);
  return "<StatusUploadBlob" + (blob.type ? attribute("statusBlobType", *blob.type) : std::string()) + ">" +
         (blob.escaped_twice ? xml_escape(text) : text) + "</StatusUploadBlob>\n";
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
  return std::string(kDeclaration) +
         "<Versions>\n<Preferred>\n<Version>2012-11-30</Version>\n</Preferred>\n<Supported>\n"
         "<Version>2012-11-30</Version>\n<Version>2011-10-13</Version>\n</Supported>\n</Versions>\n";
}

std::string goal_state_document(const GoalStateSpec &state, const std::string &host) {
  std::vector<std::string> lines;
  for (const GoalStateValue &value : goal_state_values(state, host))
    lines.push_back(element(value.element, value.value) + "\n");
  std::string out = std::string(kDeclaration) + "<GoalState>\n<Version>2012-11-30</Version>\n" + lines[0] +
                    "<Machine>\n" + lines[1] + "<LBProbePorts>\n" + lines[2] + "</LBProbePorts>\n</Machine>\n" +
                    "<Container>\n" + lines[3] + "<RoleInstanceList>\n<RoleInstance>\n" + lines[4] +
                    "<Configuration>\n" + lines[5] + lines[6] + lines[7] + lines[8] + lines[9] +
                    "</Configuration>\n</RoleInstance>\n</RoleInstanceList>\n</Container>\n</GoalState>\n";
  for (const std::string &name : state.omit) out = without_element(std::move(out), name);
  return out;
}

std::string hosting_environment_document(const GoalStateSpec &state) {
  return std::string(kDeclaration) + "<HostingEnvironmentConfig" + attribute("version", "1.0.0.0") +
         attribute("goalStateIncarnation", state.incarnation) + ">\n<Deployment" + attribute("name", "fabric") +
         " />\n<Incarnation number=\"1\"" + attribute("instance", state.instance_id) + " />\n<Role" +
         attribute("name", "kelvane-role") + " />\n</HostingEnvironmentConfig>\n";
}

std::string shared_config_document(const GoalStateSpec &state) {
  return std::string(kDeclaration) + "<SharedConfig" + attribute("version", "1.0.0.0") +
         attribute("goalStateIncarnation", state.incarnation) + ">\n<Deployment" + attribute("name", "fabric") +
         " />\n<Instances>\n<Instance" + attribute("id", state.instance_id) + " />\n</Instances>\n</SharedConfig>\n";
}

std::string certificates_document(const GoalStateSpec &state, const DataLinesSpec &lines, const std::string &data) {
  std::string text = in_lines(data, static_cast<size_t>(lines.line_length), lines.indent);
  if (lines.leading_newline) text.insert(0, 1, '\n');
  if (lines.trailing_newline) text += '\n';
  return std::string(kDeclaration) + "<CertificateFile>\n<Version>2012-11-30</Version>\n" +
         element("Incarnation", state.incarnation) + "\n<Format>CmsWithPkcs12</Format>\n<Data>" + text +
         "</Data>\n</CertificateFile>\n";
}

std::string extensions_document(const GoalStateSpec &state, const Tenant &tenant) {
  std::string out = std::string(kDeclaration) + "<Extensions" + attribute("version", "1.0.0.0") +
                    attribute("goalStateIncarnation", state.incarnation) + ">\n";
  std::string plugins, settings;
  for (const ExtensionSpec &extension : state.extensions) {
    plugins += plugin(extension);
    if (extension.settings) settings += plugin_settings(extension, tenant);
  }
  out += "<Plugins>\n" + plugins + "</Plugins>\n";
  if (!settings.empty()) out += "<PluginSettings>\n" + settings + "</PluginSettings>\n";
  if (state.status_blob) out += status_upload_blob(*state.status_blob);
  return out + "</Extensions>\n";
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
