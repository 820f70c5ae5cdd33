#include "tools/fabric/bytes.h"
#include "tools/fabric/documents.h"
#include "tools/fabric/handler_settings.h"

namespace kelvane::fabric {

namespace {

using Json = nlohmann::ordered_json;

// The runtime settings' JSON.
std::string runtime_settings(const SettingsSpec &spec, const Tenant &tenant, X509 *transport) {
  if (spec.runtime_settings) return *spec.runtime_settings;
  const HandlerSettings made = make_handler_settings(spec, tenant, transport);
  Json settings = Json::object();
  if (made.thumbprint) settings["protectedSettingsCertThumbprint"] = *made.thumbprint;
  if (made.protected_settings) settings["protectedSettings"] = *made.protected_settings;
  if (made.public_settings) settings["publicSettings"] = *made.public_settings;
  Json document;
  document["runtimeSettings"] = Json::array({Json::object({{"handlerSettings", settings}})});
  return document.dump();
}

std::string plugin(const ExtensionSpec &extension) {
  std::string out = "<Plugin" + xml_attribute("name", extension.name) + xml_attribute("version", extension.version);
  out += xml_attribute("state", extension.state);
  for (const Header &attribute : extension.attributes) out += xml_attribute(attribute.name, attribute.value);
  return out + " />\n";
}

std::string plugin_settings(const ExtensionSpec &extension, const Tenant &tenant, X509 *transport) {
  std::string out =
      "<Plugin" + xml_attribute("name", extension.name) + xml_attribute("version", extension.settings_version) + ">\n";
  for (const SettingsSpec &settings : extension.settings) {
    out += "<RuntimeSettings";
    if (settings.sequence_number) out += xml_attribute("seqNo", std::to_string(*settings.sequence_number));
    out += ">" + xml_escape(runtime_settings(settings, tenant, transport)) + "</RuntimeSettings>\n";
  }
  return out + "</Plugin>\n";
}

std::string status_upload_blob(const StatusBlobSpec &blob) {
  std::string text = xml_escape(blob.url);
  return "<StatusUploadBlob" + (blob.type ? xml_attribute("statusBlobType", *blob.type) : std::string()) + ">" +
         (blob.escaped_twice ? xml_escape(text) : text) + "</StatusUploadBlob>\n";
}

}  // namespace

std::string extensions_document(const GoalStateSpec &state, const Tenant &tenant, X509 *transport) {
  std::string out = std::string(kXmlDeclaration) + "<Extensions" + xml_attribute("version", "1.0.0.0") +
                    xml_attribute("goalStateIncarnation", state.incarnation) + ">\n";
  std::string plugins, settings;
  for (const ExtensionSpec &extension : state.extensions) {
    plugins += plugin(extension);
    if (!extension.settings.empty()) settings += plugin_settings(extension, tenant, transport);
  }
  out += "<Plugins>\n" + plugins + "</Plugins>\n";
  if (!settings.empty()) out += "<PluginSettings>\n" + settings + "</PluginSettings>\n";
  if (state.status_blob) out += status_upload_blob(*state.status_blob);
  return out + "</Extensions>\n";
}

}  // namespace kelvane::fabric
