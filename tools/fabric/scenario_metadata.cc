#include "tools/fabric/scenario_parts.h"

namespace kelvane::fabric {

namespace {

// A whole document: a text is taken letter for letter, anything else as JSON.
void read_whole(JsonFields &fields, const std::string &key, std::optional<std::string> &text) {
  const Json *value = fields.find(key);
  if (value != nullptr) text = value->is_string() ? value->get<std::string>() : value->dump();
}

// A text is the value; false: there is none; an object says how the whole line stands.
void read_etag(JsonFields &parent, const std::string &key, ETagSpec &etag) {
  const Json *value = parent.find(key);
  if (value == nullptr) return;
  etag = {};
  if (value->is_boolean()) {
    etag.told = parent.flag(key, true);
  } else if (value->is_string()) {
    etag.header = Header{"ETag", value->get<std::string>()};
  } else {
    JsonFields fields(*value, parent.path_of(key));
    etag.header = Header{fields.text("name", "ETag"), fields.required_text("value"), fields.text("separator", ": ")};
    fields.finish();
  }
}

void check_pointer(const std::string &pointer, const std::string &path) {
  try {
    if (!Json::json_pointer(pointer).empty()) return;
  } catch (const Json::exception &) {
    // told below
  }
  throw ScenarioError(path + ": \"" + pointer + "\" is not the path of a member (\"/properties/version\")");
}

HandlerSpec read_handler(const Json &value, const std::string &path) {
  JsonFields fields(value, path);
  HandlerSpec handler;
  if (const Json *policy = fields.find("upgradePolicy")) handler.upgrade_policy = policy->dump();
  if (fields.find("versionUris") != nullptr) handler.version_uris.emplace();
  for (const Json *uri : fields.list("versionUris"))
    handler.version_uris->push_back(uri->is_string() ? Json::object({{"uri", *uri}}).dump() : uri->dump());
  if (const Json *set = fields.find("set")) {
    JsonFields members(*set, fields.path_of("set"));
    for (const auto &member : set->items()) handler.set.emplace_back(member.key(), member.value().dump());
  }
  handler.omit = fields.texts("omit");
  fields.finish();
  for (const auto &member : handler.set) check_pointer(member.first, fields.path_of("set"));
  for (const std::string &pointer : handler.omit) check_pointer(pointer, fields.path_of("omit"));
  return handler;
}

CertificateDocumentSpec read_certificate_document(const Json &value, const std::string &path,
                                                  const ContainerSpec &container) {
  JsonFields fields(value, path);
  CertificateDocumentSpec document;
  document.container = container;
  if (fields.find("certificates") != nullptr) document.certificates = fields.texts("certificates");
  if (const Json *found = fields.find("container"))
    document.container = read_container(*found, fields.path_of("container"), container);
  read_whole(fields, "document", document.text);
  fields.finish();
  return document;
}

void read_certificate_documents(JsonFields &fields, const ContainerSpec &container, MetadataSpec &metadata) {
  if (fields.find("certificates") == nullptr) return;
  metadata.certificates.emplace();
  for (const Json *document : fields.list("certificates")) {
    const std::string path = numbered(fields.path_of("certificates"), metadata.certificates->size());
    metadata.certificates->push_back(read_certificate_document(*document, path, container));
  }
}

}  // namespace

std::optional<MetadataSpec> read_metadata(JsonFields &parent, const std::optional<MetadataSpec> &fallback,
                                          const ContainerSpec &container) {
  const Json *value = parent.find("metadata");
  if (value == nullptr) return fallback;
  if (value->is_boolean() && !parent.flag("metadata", true)) return std::nullopt;
  JsonFields fields(*value, parent.path_of("metadata"));
  MetadataSpec metadata = fallback.value_or(MetadataSpec());
  metadata.container = container;
  read_whole(fields, "identity", metadata.identity);
  read_whole(fields, "vmAgentVersions", metadata.agent_versions);
  read_whole(fields, "certificateList", metadata.certificate_list);
  read_whole(fields, "extensionHandlers", metadata.extension_handlers);
  read_certificate_documents(fields, container, metadata);
  read_etag(fields, "extensionHandlersETag", metadata.handlers_etag);
  read_etag(fields, "vmAgentVersionsETag", metadata.versions_etag);
  if (const Json *handlers = fields.find("handlers")) {
    JsonFields members(*handlers, fields.path_of("handlers"));
    for (const auto &member : handlers->items())
      metadata.handlers[member.key()] = read_handler(member.value(), members.path_of(member.key()));
  }
  fields.finish();
  return metadata;
}

}  // namespace kelvane::fabric
