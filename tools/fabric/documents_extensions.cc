#include <nlohmann/json.hpp>

#include "tools/fabric/bytes.h"
#include "tools/fabric/container.h"
#include "tools/fabric/documents.h"
#include "tools/fabric/openssl_program.h"

namespace kelvane::fabric {

namespace {

using Json = nlohmann::ordered_json;

// Whom the protected settings are for.
struct Recipient {
  X509 *certificate = nullptr;
  std::string thumbprint;
};

Recipient recipient_of(const SettingsSpec &settings, const Tenant &tenant, X509 *transport) {
  if (settings.certificate) {
    const Identity &identity = tenant.named(*settings.certificate);
    return {identity.certificate.get(), identity.thumbprint};
  }
  if (!settings.transport) return {};
  if (transport == nullptr) throw CryptoError("protected settings: the agent has not sent its certificate");
  return {transport, thumbprint_of(transport)};
}

std::string lower_case(std::string text) {
  for (char &c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

// The thumbprint that the settings tell; empty for none.
std::string told_thumbprint(const SettingsSpec &spec, const Tenant &tenant, const Recipient &recipient) {
  if (!spec.tell_thumbprint) return "";
  const std::string own = spec.thumbprint_of ? tenant.named(*spec.thumbprint_of).thumbprint : recipient.thumbprint;
  return spec.thumbprint.value_or(spec.thumbprint_lower_case ? lower_case(own) : own);
}

// The protected settings as they are sent.
std::string sealed(const SettingsSpec &spec, const Recipient &recipient) {
  if (recipient.certificate == nullptr) return *spec.protected_settings;
  if (spec.sealed_by)
    return base64_encode(seal_by_program(*spec.sealed_by, *spec.protected_settings, recipient.certificate));
  return protect_settings(*spec.protected_settings, recipient.certificate);
}

// The runtime settings' JSON, the protected part encrypted to whom the scenario names.
std::string runtime_settings(const SettingsSpec &spec, const Tenant &tenant, X509 *transport) {
  if (spec.runtime_settings) return *spec.runtime_settings;
  Recipient recipient = recipient_of(spec, tenant, transport);
  Json settings = Json::object();
  const std::string thumbprint = told_thumbprint(spec, tenant, recipient);
  if (!thumbprint.empty() || (spec.tell_thumbprint && spec.thumbprint))
    settings["protectedSettingsCertThumbprint"] = thumbprint;
  if (spec.protected_settings) settings["protectedSettings"] = sealed(spec, recipient);
  if (spec.public_settings) {
    Json open = Json::parse(*spec.public_settings, nullptr, false);
    settings["publicSettings"] = open.is_discarded() ? Json(*spec.public_settings) : open;
  }
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
