#include <algorithm>

#include "tools/fabric/bytes.h"
#include "tools/fabric/scenario_parts.h"

namespace kelvane::fabric {

namespace {

constexpr int64_t kMillion = 1000000;

// A member that is a text, or an object whose one member `key` names something: {"certificate": "name"}.
void read_text_or_name(JsonFields &fields, const std::string &member, const std::string &key,
                       std::optional<std::string> &text, std::optional<std::string> &name) {
  const Json *value = fields.find(member);
  if (value == nullptr) return;
  if (value->is_string()) {
    text = value->get<std::string>();
    return;
  }
  JsonFields object(*value, fields.path_of(member));
  name = object.required_text(key);
  object.finish();
}

PublicKeySpec read_public_key(const Json &value, const std::string &path) {
  JsonFields fields(value, path);
  PublicKeySpec key;
  read_text_or_name(fields, "fingerprint", "certificate", key.fingerprint, key.fingerprint_of);
  read_text_or_name(fields, "value", "certificate", key.value, key.value_of);
  key.path = fields.optional_text("path");
  fields.finish();
  return key;
}

void read_custom_data(JsonFields &fields, OvfSpec &ovf) {
  std::optional<std::string> encoded;
  read_text_or_name(fields, "customData", "base64", ovf.custom_data, encoded);
  if (!encoded) return;
  ovf.custom_data = base64_decode(*encoded);
  if (!ovf.custom_data) throw ScenarioError(fields.path_of("customData.base64") + ": not base64");
}

OvfSpec read_ovf(const Json &value, const std::string &path) {
  JsonFields fields(value, path);
  OvfSpec ovf;
  ovf.host_name = fields.optional_text("hostName");
  ovf.user_name = fields.optional_text("userName");
  ovf.user_password = fields.optional_text("userPassword");
  for (const Json *key : fields.list("publicKeys"))
    ovf.public_keys.push_back(read_public_key(*key, numbered(fields.path_of("publicKeys"), ovf.public_keys.size())));
  read_custom_data(fields, ovf);
  ovf.omit = fields.texts("omit");
  ovf.namespaces = fields.flag("namespaces", ovf.namespaces);
  ovf.text = fields.optional_text("text");
  fields.finish();
  return ovf;
}

void add_certificates(std::vector<CertificateSpec> &all, const Json &value, const std::string &path) {
  JsonFields fields(value, path);
  CertificateSpec spec;
  spec.name = fields.required_text("name");
  spec.common_name = fields.text("commonName", spec.name);
  spec.bits = fields.number("bits", spec.bits, 512, 8192);
  spec.private_key = fields.flag("privateKey", spec.private_key);
  spec.local_key_id = fields.flag("localKeyId", spec.local_key_id);
  auto count = fields.optional_number("count", 1, 100);
  fields.finish();
  if (!count) all.push_back(spec);
  for (int64_t number = 1; number <= count.value_or(0); number++) {
    CertificateSpec one = spec;
    one.name += "-" + std::to_string(number);
    one.common_name += "-" + std::to_string(number);
    all.push_back(one);
  }
}

DataLinesSpec read_data_lines(const Json &value, const std::string &path) {
  JsonFields fields(value, path);
  DataLinesSpec lines;
  lines.line_length = fields.number("lineLength", lines.line_length, 0, kMillion);
  lines.indent = fields.text("indent", "");
  lines.leading_newline = fields.flag("leadingNewline", lines.leading_newline);
  lines.trailing_newline = fields.flag("trailingNewline", lines.trailing_newline);
  fields.finish();
  return lines;
}

TenantSpec read_tenant(const Json &value, const std::string &path) {
  JsonFields fields(value, path);
  TenantSpec tenant;
  size_t number = 0;
  for (const Json *certificate : fields.list("certificates"))
    add_certificates(tenant.certificates, *certificate, numbered(fields.path_of("certificates"), number++));
  if (const Json *container = fields.find("container"))
    tenant.container = read_container(*container, fields.path_of("container"), tenant.container);
  if (const Json *document = fields.find("document"))
    tenant.document = read_data_lines(*document, fields.path_of("document"));
  fields.finish();
  return tenant;
}

// `previous` is what a goal state has its extensions and its status blob from when it tells none.
GoalStateSpec read_goal_state(const Json &value, const std::string &path, const GoalStateSpec &previous,
                              const ContainerSpec &container, size_t number) {
  JsonFields fields(value, path);
  GoalStateSpec state;
  state.extensions = previous.extensions;
  state.incarnation = fields.text("incarnation", std::to_string(number + 1));
  state.expected_state = fields.text("expectedState", state.expected_state);
  state.container_id = fields.text("containerId", state.container_id);
  state.instance_id = fields.text("instanceId", state.instance_id);
  state.config_name = fields.text("configName", state.config_name);
  state.port = fields.text("port", state.port);
  state.omit = fields.texts("omit");
  if (fields.find("certificates") != nullptr) state.certificates = fields.texts("certificates");
  if (fields.find("extensions") != nullptr) state.extensions = read_extensions(fields);
  state.status_blob = read_status_blob(fields, previous.status_blob);
  state.metadata = read_metadata(fields, previous.metadata, container);
  state.advance_after = fields.number("advanceAfter", 0, 0, kMillion);
  state.advance_on = read_advance_on(fields);
  fields.finish();
  return state;
}

bool knows_certificate(const Scenario &scenario, const std::string &name) {
  const auto &all = scenario.tenant.certificates;
  return std::any_of(all.begin(), all.end(), [&](const CertificateSpec &spec) { return spec.name == name; });
}

void check_name(const Scenario &scenario, const std::optional<std::string> &name, const std::string &where) {
  if (name && !knows_certificate(scenario, *name))
    throw ScenarioError(where + ": no certificate is named \"" + *name + "\"");
}

std::vector<std::string> metadata_certificates(const GoalStateSpec &state) {
  std::vector<std::string> out;
  if (!state.metadata || !state.metadata->certificates) return out;
  for (const CertificateDocumentSpec &document : *state.metadata->certificates)
    for (const std::string &name : document.certificates.value_or(std::vector<std::string>())) out.push_back(name);
  return out;
}

// What the metadata service tells otherwise of an extension, it tells of one that a goal state has.
void check_handlers(const Scenario &scenario) {
  std::set<std::string> names;
  for (const GoalStateSpec &state : scenario.goal_states)
    for (const ExtensionSpec &extension : state.extensions) names.insert(extension.name);
  for (const GoalStateSpec &state : scenario.goal_states)
    for (const auto &handler : state.metadata.value_or(MetadataSpec()).handlers)
      if (names.count(handler.first) == 0)
        throw ScenarioError("fabric.metadata.handlers: no extension is named \"" + handler.first + "\"");
}

// Every name of a certificate must be one of the tenant's, and no two certificates have the same.
void check_names(const Scenario &scenario) {
  std::set<std::string> names;
  for (const CertificateSpec &spec : scenario.tenant.certificates)
    if (!names.insert(spec.name).second)
      throw ScenarioError("fabric.tenant.certificates: two are named \"" + spec.name + "\"");
  for (const PublicKeySpec &key : scenario.ovf.public_keys) {
    check_name(scenario, key.fingerprint_of, "fabric.ovf.publicKeys");
    check_name(scenario, key.value_of, "fabric.ovf.publicKeys");
  }
  for (const GoalStateSpec &state : scenario.goal_states) {
    for (const std::string &name : state.certificates.value_or(std::vector<std::string>()))
      check_name(scenario, name, "fabric.goalStates: certificates");
    for (const ExtensionSpec &extension : state.extensions)
      for (const SettingsSpec &settings : extension.settings)
        for (const auto &name : {settings.certificate, settings.thumbprint_of})
          check_name(scenario, name, "fabric.extensions: " + extension.name);
    for (const std::string &name : metadata_certificates(state)) check_name(scenario, name, "fabric.metadata");
  }
  check_handlers(scenario);
}

void read_faults(JsonFields &fields, Scenario &scenario) {
  std::set<std::string> names;
  for (const Json *fault : fields.list("faults")) {
    size_t number = scenario.faults.size();
    scenario.faults.push_back(read_fault(*fault, numbered(fields.path_of("faults"), number), number));
    if (!names.insert(scenario.faults.back().name).second)
      throw ScenarioError(fields.path_of("faults") + ": two are named \"" + scenario.faults.back().name + "\"");
  }
}

}  // namespace

ContainerSpec read_container(const Json &value, const std::string &path, const ContainerSpec &base) {
  JsonFields fields(value, path);
  ContainerSpec out;
  out.order = fields.choice("order", base.order, {"certificates-first", "keys-first"});
  out.nested = fields.flag("nested", base.nested);
  out.password = fields.text("password", base.password);
  out.certificate_cipher = fields.choice("certificateCipher", base.certificate_cipher, {"rc2-40", "3des", "none"});
  out.key_cipher = fields.choice("keyCipher", base.key_cipher, {"3des", "none"});
  out.wrap = fields.choice("wrap", base.wrap, {"request", "other-key"});
  out.content = fields.choice("content", base.content, {"pkcs12", "not-pkcs12", "tampered", "not-cms", "empty"});
  fields.finish();
  return out;
}

std::string numbered(const std::string &path, size_t number) {
  return path + "[" + std::to_string(number) + "]";
}

FaultSpec read_fault(const Json &value, const std::string &path, size_t number) {
  JsonFields fields(value, path);
  FaultSpec fault;
  fault.name = fields.text("name", "fault-" + std::to_string(number));
  fault.kind =
      fields.choice("kind", "(none)",
                    {"refuse", "close", "reset", "silent", "delay", "status", "empty", "html", "cut", "wrong-length",
                     "omit-element", "drip", "garbage", "garbage-body", "huge", "not-listening", "header"});
  fault.method = fields.text("method", "");
  fault.target = fields.text("target", fault.target);
  fault.occurrence = fields.number("occurrence", 1, 1, kMillion);
  fault.times = fields.number("times", 1, 0, kMillion);
  fault.enabled = fields.flag("enabled", true);
  fault.status = fields.number("status", fault.status, 100, 599);
  fault.body = fields.text("body", "");
  fault.milliseconds = fields.number("ms", 0, 0, 3600 * 1000);
  fault.bytes = fields.number("bytes", 0, 0, 100 * kMillion);
  fault.megabytes = fields.number("megabytes", 1, 1, 4096);
  fault.full_length = fields.choice("contentLength", "full", {"full", "cut"}) == "full";
  fault.length_change = fields.number("lengthChange", 0, -kMillion, kMillion);
  fault.element = fields.text("element", "");
  fault.header = fields.text("header", "");
  fault.value = fields.optional_text("value");
  fields.finish();
  if (fault.kind == "omit-element" && fault.element.empty()) throw ScenarioError(path + ".element: missing");
  if (fault.kind == "header" && fault.header.empty()) throw ScenarioError(path + ".header: missing");
  if (fault.kind == "wrong-length" && fault.length_change == 0) throw ScenarioError(path + ".lengthChange: missing");
  if (fault.kind == "refuse" && (!fault.method.empty() || fault.target != "*"))
    throw ScenarioError(path + ": a refused connection is not read: it has no method and no target to match");
  return fault;
}

void read_fabric_part(const Json &value, Scenario &scenario) {
  JsonFields fields(value, "fabric");
  scenario.endpoint = fields.text("endpoint", scenario.endpoint);
  if (const Json *ovf = fields.find("ovf")) scenario.ovf = read_ovf(*ovf, fields.path_of("ovf"));
  scenario.tenant.certificates = {{.name = "tenant", .common_name = "tenant"}};
  if (const Json *tenant = fields.find("tenant")) scenario.tenant = read_tenant(*tenant, fields.path_of("tenant"));
  GoalStateSpec base;
  base.extensions = read_extensions(fields);
  base.status_blob = read_status_blob(fields, StatusBlobSpec());
  const ContainerSpec &container = scenario.tenant.container;
  base.metadata = read_metadata(fields, std::nullopt, container);
  for (const Json *state : fields.list("goalStates")) {
    size_t number = scenario.goal_states.size();
    const GoalStateSpec &previous = number == 0 ? base : scenario.goal_states.back();
    const std::string path = numbered(fields.path_of("goalStates"), number);
    scenario.goal_states.push_back(read_goal_state(*state, path, GoalStateSpec(previous), container, number));
  }
  if (scenario.goal_states.empty())
    scenario.goal_states.push_back(read_goal_state(Json::object(), "fabric.goalStates[0]", base, container, 0));
  const Json *storage = fields.find("storage");
  if (storage != nullptr) scenario.storage = read_storage(*storage, fields.path_of("storage"), scenario);
  read_faults(fields, scenario);
  fields.finish();
  check_names(scenario);
}

void fill_defaults(Scenario &scenario) {
  if (!scenario.goal_states.empty()) return;
  read_fabric_part(Json::object(), scenario);
}

}  // namespace kelvane::fabric
