#include "tools/fabric/scenario_parts.h"

namespace kelvane::fabric {

namespace {

// Settings may be written as JSON or as a text that is taken letter for letter.
void read_settings_text(JsonFields &fields, const std::string &key, std::optional<std::string> &text) {
  const Json *value = fields.find(key);
  if (value != nullptr) text = value->is_string() ? value->get<std::string>() : value->dump();
}

// A member that is false when the thing is to be left out.
bool is_false(const Json *value) {
  return value != nullptr && value->is_boolean() && !value->get<bool>();
}

// A text, or the thumbprint of a certificate, which may be told in lower case.
void read_thumbprint(JsonFields &fields, SettingsSpec &settings) {
  const Json *value = fields.find("thumbprint");
  if (value == nullptr) return;
  settings.tell_thumbprint = !is_false(value);
  if (value->is_object()) {
    JsonFields members(*value, fields.path_of("thumbprint"));
    settings.thumbprint_of = members.required_text("certificate");
    settings.thumbprint_lower_case = members.flag("lowerCase", false);
    members.finish();
  } else if (settings.tell_thumbprint) {
    settings.thumbprint = fields.required_text("thumbprint");
  }
}

// The members of one runtime settings element; what is absent stays as it is.
void read_settings_members(JsonFields &fields, SettingsSpec &settings) {
  if (is_false(fields.find("seqNo")))
    settings.sequence_number.reset();
  else if (fields.find("seqNo") != nullptr)
    settings.sequence_number = fields.number("seqNo", 0, INT32_MIN, INT32_MAX);
  read_settings_text(fields, "publicSettings", settings.public_settings);
  read_settings_text(fields, "protectedSettings", settings.protected_settings);
  read_settings_text(fields, "runtimeSettings", settings.runtime_settings);
  if (fields.find("certificate") != nullptr) settings.certificate = fields.required_text("certificate");
  settings.transport = fields.flag("transport", settings.transport);
  read_thumbprint(fields, settings);
  if (fields.find("sealedBy") != nullptr) settings.sealed_by = fields.choice("sealedBy", "", {"smime", "cms"});
  if (settings.transport && settings.certificate)
    throw ScenarioError(fields.path() + ": \"certificate\" and \"transport\" exclude each other");
}

// true or absent: the one that the extension's own members tell; false: none; a list: each of them, upon those members.
std::vector<SettingsSpec> read_settings(JsonFields &fields) {
  SettingsSpec own;
  read_settings_members(fields, own);
  const Json *value = fields.find("settings");
  if (value == nullptr || value->is_boolean())
    return std::vector<SettingsSpec>(fields.flag("settings", true) ? 1 : 0, own);
  std::vector<SettingsSpec> out;
  for (const Json *one : fields.list("settings")) {
    JsonFields members(*one, numbered(fields.path_of("settings"), out.size()));
    read_settings_members(members, out.emplace_back(own));
    members.finish();
  }
  return out;
}

std::vector<Header> read_attributes(JsonFields &fields) {
  std::vector<Header> out;
  for (const char *name : {"autoUpgrade", "upgradeGuid", "location", "failoverlocation"}) {
    const Json *value = fields.find(name);
    if (value != nullptr && value->is_boolean())
      out.push_back({name, value->get<bool>() ? "true" : "false"});
    else if (value != nullptr)
      out.push_back({name, fields.required_text(name)});
  }
  const Json *attributes = fields.find("attributes");
  if (attributes == nullptr) return out;
  JsonFields members(*attributes, fields.path_of("attributes"));
  for (const auto &member : attributes->items())
    out.push_back({member.key(), text_of(member.value(), members.path_of(member.key()))});
  return out;
}

// So many of them under names of their own, or the one.
std::vector<ExtensionSpec> counted(const ExtensionSpec &extension, int64_t count) {
  if (count == 1) return {extension};
  std::vector<ExtensionSpec> out;
  for (int64_t i = 1; i <= count; i++) {
    out.push_back(extension);
    out.back().name += "-" + std::to_string(i);
  }
  return out;
}

std::vector<ExtensionSpec> read_extension(const Json &value, const std::string &path) {
  JsonFields fields(value, path);
  ExtensionSpec extension;
  extension.name = fields.required_text("name");
  extension.version = fields.text("version", "1.0.0.0");
  extension.state = fields.text("state", extension.state);
  extension.attributes = read_attributes(fields);
  extension.settings = read_settings(fields);
  extension.settings_version = fields.text("settingsVersion", extension.version);
  const int64_t count = fields.number("count", 1, 1, 10000);
  fields.finish();
  return counted(extension, count);
}

}  // namespace

std::vector<ExtensionSpec> read_extensions(JsonFields &fields) {
  std::vector<ExtensionSpec> out;
  size_t number = 0;
  for (const Json *extension : fields.list("extensions"))
    for (ExtensionSpec &one : read_extension(*extension, numbered(fields.path_of("extensions"), number++)))
      out.push_back(std::move(one));
  return out;
}

std::optional<StatusBlobSpec> read_status_blob(JsonFields &parent, const std::optional<StatusBlobSpec> &fallback) {
  const Json *value = parent.find("statusUploadBlob");
  if (value == nullptr) return fallback;
  if (is_false(value)) return std::nullopt;
  JsonFields fields(*value, parent.path_of("statusUploadBlob"));
  StatusBlobSpec blob;
  blob.url = fields.text("url", blob.url);
  blob.type = fields.text("type", *blob.type);
  if (fields.flag("omitType", false)) blob.type.reset();
  blob.escaped_twice = fields.flag("escapedTwice", false);
  fields.finish();
  return blob;
}

AdvanceSpec read_advance_on(JsonFields &parent) {
  const Json *value = parent.find("advanceOn");
  if (value == nullptr) return {};
  JsonFields fields(*value, parent.path_of("advanceOn"));
  AdvanceSpec advance;
  advance.method = fields.text("method", "");
  advance.target = fields.text("target", advance.target);
  advance.count = fields.number("count", 1, 1, 1000000);
  fields.finish();
  return advance;
}

}  // namespace kelvane::fabric
