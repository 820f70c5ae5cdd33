#include "tools/fabric/metadata_documents.h"

#include "tools/fabric/container.h"
#include "tools/fabric/handler_settings.h"

namespace kelvane::fabric {

namespace {

using Json = nlohmann::ordered_json;

// The documents of the list: those that the scenario describes, or one for each certificate that is delivered.
std::vector<CertificateDocumentSpec> certificate_documents(const GoalStateSpec &state, const Tenant &tenant) {
  if (state.metadata->certificates) return *state.metadata->certificates;
  std::vector<CertificateDocumentSpec> out;
  for (const Identity *identity : tenant.chosen(state.certificates))
    out.push_back({{{identity->spec.name}}, state.metadata->container, std::nullopt});
  return out;
}

const std::string *attribute_of(const ExtensionSpec &extension, const std::string &name) {
  return find_header(extension.attributes, name);
}

// An extension that the platform upgrades by itself has the policy "auto".
Json upgrade_policy(const std::string &auto_upgrade) {
  return auto_upgrade == "true" ? "auto" : "manual";
}

Json version_uris(const ExtensionSpec &extension) {
  Json out = Json::array();
  for (const char *name : {"location", "failoverlocation"})
    if (const std::string *uri = attribute_of(extension, name)) out.push_back(Json::object({{"uri", *uri}}));
  return out;
}

Json settings_element(const std::string &name, const SettingsSpec &spec, const Tenant &tenant, X509 *transport) {
  if (spec.runtime_settings) return json_or_text(*spec.runtime_settings);
  const HandlerSettings settings = make_handler_settings(spec, tenant, transport);
  Json out = Json::object({{"name", name}});
  if (settings.public_settings) out["publicSettings"] = *settings.public_settings;
  if (settings.protected_settings) out["protectedSettings"] = *settings.protected_settings;
  if (settings.thumbprint) out["certificateThumbprint"] = *settings.thumbprint;
  if (spec.sequence_number) out["sequenceNumber"] = *spec.sequence_number;
  return out;
}

Json handler_element(const ExtensionSpec &extension, const Tenant &tenant, X509 *transport) {
  Json properties{{"version", extension.version}, {"state", extension.state}};
  if (const std::string *value = attribute_of(extension, "autoUpgrade"))
    properties["upgradePolicy"] = upgrade_policy(*value);
  properties["extensions"] = Json::array();
  for (const SettingsSpec &settings : extension.settings)
    properties["extensions"].push_back(settings_element(extension.name, settings, tenant, transport));
  return {{"name", extension.name}, {"properties", properties}, {"versionUris", version_uris(extension)}};
}

// Puts what the scenario tells otherwise in its place; it throws when a member that is left out is not there.
void change_handler(Json &handler, const HandlerSpec &spec) {
  if (spec.upgrade_policy) handler["properties"]["upgradePolicy"] = Json::parse(*spec.upgrade_policy);
  if (spec.version_uris) handler["versionUris"] = Json::array();
  for (const std::string &uri : spec.version_uris.value_or(std::vector<std::string>()))
    handler["versionUris"].push_back(Json::parse(uri));
  for (const auto &[pointer, value] : spec.set) handler[Json::json_pointer(pointer)] = Json::parse(value);
  for (const std::string &text : spec.omit) {
    const Json::json_pointer pointer(text);
    Json &parent = handler.at(pointer.parent_pointer());
    if (parent.is_array())
      parent.erase(std::stoul(pointer.back()));
    else
      parent.erase(pointer.back());
  }
}

}  // namespace

std::string identity_document(const MetadataSpec &metadata) {
  const Json identity{{"subscriptionId", "5d1f3a86-0c2b-4b7e-9a44-6e8f2c91d7b0"}, {"vmName", "kelvane-vm"}};
  return metadata.identity.value_or(identity.dump());
}

std::string agent_versions_document(const MetadataSpec &metadata) {
  return metadata.agent_versions.value_or(Json::object({{"versions", Json::array({"2.2.26"})}}).dump());
}

std::string certificate_list_document(const GoalStateSpec &state, const Tenant &tenant) {
  if (state.metadata->certificate_list) return *state.metadata->certificate_list;
  Json list = Json::array();
  for (size_t number = 1; number <= certificate_document_count(state, tenant); number++)
    list.push_back(Json::object(
        {{"certificateDataUri", std::string("http://") + kMetadataHost + "/Microsoft.Compute/certificates/" +
                                    std::to_string(number) + "?" + kMetadataQuery}}));
  return Json::object({{"certificates", list}}).dump();
}

size_t certificate_document_count(const GoalStateSpec &state, const Tenant &tenant) {
  return certificate_documents(state, tenant).size();
}

std::string certificate_document(const GoalStateSpec &state, const Tenant &tenant, size_t number, X509 *recipient) {
  const CertificateDocumentSpec spec = certificate_documents(state, tenant).at(number - 1);
  if (spec.text) return *spec.text;
  const auto identities = tenant.chosen(spec.certificates ? spec.certificates : state.certificates);
  return Json::object({{"certificateData", make_certificates_data(identities, spec.container, recipient)}}).dump();
}

std::string extension_handlers_document(const GoalStateSpec &state, const Tenant &tenant, X509 *transport) {
  if (state.metadata->extension_handlers) return *state.metadata->extension_handlers;
  Json list = Json::array();
  for (const ExtensionSpec &extension : state.extensions) {
    Json handler = handler_element(extension, tenant, transport);
    const auto changes = state.metadata->handlers.find(extension.name);
    if (changes != state.metadata->handlers.end()) change_handler(handler, changes->second);
    list.push_back(handler);
  }
  return list.dump();
}

}  // namespace kelvane::fabric
