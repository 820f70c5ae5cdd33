// Writes what the fabric sends in some scenarios as the first inputs of the fuzz targets: every goal state's documents,
// the commands and orders in its settings, whole answers and the lines of their heads, and containers, encrypted to the
// transport certificate that the targets use.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "credentials/transport_cert.h"
#include "tests/fuzz/fabric_answers.h"
#include "tests/fuzz/fixed_key.h"
#include "tests/fuzz/world.h"
#include "tests/fuzz/worst_containers.h"
#include "tests/fuzz/worst_seeds.h"
#include "tests/support/files.h"
#include "tools/fabric/bytes.h"
#include "tools/fabric/container.h"
#include "tools/fabric/documents.h"
#include "tools/fabric/handler_settings.h"
#include "tools/fabric/made_texts.h"
#include "tools/fabric/metadata_documents.h"
#include "tools/fabric/named_parts.h"
#include "tools/fabric/ovf.h"

namespace {

using namespace kelvane::fabric;

// Small keys, short settings, and a single iteration to derive a key: what a fuzzer makes of an input is as long and as
// dear as the input. As the platform sends them, containers are among the worst seeds, and so are long settings.
void make_cheap(ContainerSpec *container) {
  container->iterations = 1;
}

bool has_long_settings(const ExtensionSpec &extension) {
  const auto is_long = [](const std::optional<std::string> &text) { return text && text->size() > 2000; };
  return std::any_of(extension.settings.begin(), extension.settings.end(), [&](const SettingsSpec &settings) {
    return is_long(settings.runtime_settings) || is_long(settings.public_settings) ||
           is_long(settings.protected_settings);
  });
}

void make_cheap(Scenario *scenario) {
  make_cheap(&scenario->tenant.container);
  for (CertificateSpec &certificate : scenario->tenant.certificates) certificate.bits = 512;
  for (GoalStateSpec &state : scenario->goal_states) {
    std::erase_if(state.extensions, has_long_settings);
    if (!state.metadata) state.metadata.emplace();
    make_cheap(&state.metadata->container);
    if (!state.metadata->certificates) continue;
    for (CertificateDocumentSpec &document : *state.metadata->certificates) make_cheap(&document.container);
  }
}

// The scenario's fabric, and that of each run which has its own: the scenario's with the run's changes.
std::vector<Scenario> fabrics_of(const std::string &path) {
  using Json = nlohmann::ordered_json;
  const Json written = Json::parse(support::read_file(path), nullptr, true, true);
  const Json scenario = with_made_texts(with_named_parts(written));
  const Json fabric = scenario.value("fabric", Json::object());
  std::vector<Json> all = {fabric};
  for (const Json &run : scenario.value("agent", Json::array())) {
    if (!run.contains("fabric")) continue;
    all.push_back(fabric);
    all.back().merge_patch(run["fabric"]);
  }
  std::vector<Scenario> out;
  for (const Json &one : all) out.push_back(parse_scenario(Json({{"fabric", one}}).dump(), path));
  return out;
}

class Seeds {
 public:
  Seeds(std::string folder, const kelvane::TransportCert &transport) : folder_(std::move(folder)), agent_(transport) {}

  // The same bytes once for a target.
  void write(const std::string &target, const std::string &name, const std::string &bytes) {
    if (!known_.insert({target, bytes}).second) return;
    std::filesystem::create_directories(folder_ + "/" + target);
    support::write_file(folder_ + "/" + target + "/" + name, bytes);
  }
  void write_fabric(const std::string &name, Scenario scenario);
  void write_fixed();
  size_t written() const { return known_.size(); }

 private:
  void write_goal_state(const std::string &name, const Scenario &scenario, const Tenant &tenant,
                        const GoalStateSpec &state);
  void write_containers(const std::string &name, const Scenario &scenario, const Tenant &tenant,
                        const GoalStateSpec &state);
  void write_command(const std::string &name, const std::optional<std::string> &settings);
  void write_answer(const std::string &name, const fuzz::WireAnswer &answer);

  std::string folder_;
  kelvane::TransportCert agent_;
  std::set<std::pair<std::string, std::string>> known_;
};

void Seeds::write_containers(const std::string &name, const Scenario &scenario, const Tenant &tenant,
                             const GoalStateSpec &state) {
  const auto identities = tenant.chosen(state.certificates);
  const std::string container = make_container(identities, scenario.tenant.container);
  write("pkcs12", name, container);
  write("cms", name, make_envelope(container, agent_.certificate));
  write("certificates", name,
        certificates_document(state, scenario.tenant.document,
                              make_certificates_data(identities, scenario.tenant.container, agent_.certificate)));
  write("metadata_certificates", name + ".list", certificate_list_document(state, tenant));
  for (size_t number = 1; number <= certificate_document_count(state, tenant); number++)
    write("metadata_certificates", name + "." + std::to_string(number),
          certificate_document(state, tenant, number, agent_.certificate));
}

void Seeds::write_goal_state(const std::string &name, const Scenario &scenario, const Tenant &tenant,
                             const GoalStateSpec &state) {
  const std::string extensions = extensions_document(state, tenant, agent_.certificate);
  for (const char *target : {"ext_config", "extension_pass", "xml_gate"}) write(target, name, extensions);
  write("goal_state", name, goal_state_document(state, scenario.endpoint));
  write("metadata_identity", name + ".identity", identity_document(*state.metadata));
  write("metadata_identity", name + ".versions", agent_versions_document(*state.metadata));
  write("metadata_handlers", name, extension_handlers_document(state, tenant, agent_.certificate));
  for (const ExtensionSpec &extension : state.extensions) {
    for (const SettingsSpec &settings : extension.settings) {
      write_command(name + "." + extension.name + ".public", settings.public_settings);
      write_command(name + "." + extension.name, settings.protected_settings);
      if (settings.protected_settings && extension.name.find("VMAccess") != std::string::npos)
        write("vm_access", name, *settings.protected_settings);
    }
  }
}

// What a command carries in base64 stands in the input as it is, behind a line end.
void Seeds::write_command(const std::string &name, const std::optional<std::string> &settings) {
  const auto json = json_or_text(settings.value_or(""));
  if (!json.is_object() || !json.contains("commandToExecute") || !json["commandToExecute"].is_string()) return;
  const std::string command = json["commandToExecute"];
  const size_t blank = command.rfind(' ');
  const auto carried = blank == std::string::npos ? std::nullopt : base64_decode(command.substr(blank + 1));
  write("custom_script", name, carried ? command.substr(0, blank) + "\n" + *carried : command);
}

void Seeds::write_answer(const std::string &name, const fuzz::WireAnswer &answer) {
  write("http_answer", name + "." + answer.name, answer.asker + answer.bytes);
  size_t number = 0;
  for (const std::string &line : fuzz::head_lines(answer.bytes))
    write("headers", name + "." + answer.name + "." + std::to_string(number++), line);
}

void Seeds::write_fabric(const std::string &name, Scenario scenario) {
  make_cheap(&scenario);
  Fabric fabric(scenario, "");
  const Tenant &tenant = fabric.world().tenant();
  write("ovf", name, ovf_document(scenario.ovf, tenant));
  for (size_t i = 0; i < scenario.goal_states.size(); i++) {
    const GoalStateSpec &state = scenario.goal_states[i];
    const std::string own = name + "." + std::to_string(i);
    write_goal_state(own, scenario, tenant, state);
    if (i == 0 || state.certificates) write_containers(own, scenario, tenant, state);
  }
  do {
    const std::string own = name + "." + std::to_string(fabric.world().goal_state_number());
    for (const fuzz::WireAnswer &answer : fuzz::fabric_answers(&fabric, agent_.encoded_certificate))
      write_answer(own, answer);
  } while (!fabric.advance().empty());
  for (const Identity *identity : tenant.chosen(std::nullopt))
    write("platform_texts", name + "." + identity->spec.name, ssh_rsa_line(*identity));
}

void Seeds::write_fixed() {
  const std::string plain = R"({"commandToExecute":"sh config-eventhub.sh op e30=","password":"secret"})";
  const std::string sealed = protect_settings(plain, agent_.certificate);
  write("protected_settings", "text", "t" + sealed);
  write("protected_settings", "message", "b" + base64_decode(sealed).value_or(""));
  write("runtime_settings", "sealed",
        R"({"runtimeSettings":[{"handlerSettings":{"protectedSettings":")" +
            protect_settings(plain, fuzz::fixed_certificate()) + R"(","protectedSettingsCertThumbprint":")" +
            thumbprint_of(fuzz::fixed_certificate()) + R"(","publicSettings":{"a":1}}}]})");
  for (const auto &worst : {fuzz::worst_seeds(), fuzz::worst_containers()}) {
    for (const auto &[name, bytes] : worst) {
      const size_t slash = name.find('/');
      write("worst/" + name.substr(0, slash), name.substr(slash + 1), bytes);
    }
  }
}

}  // namespace

int main(int count, char **arguments) {
  if (count < 2) {
    std::fprintf(stderr, "usage: %s FOLDER SCENARIO...\n", arguments[0]);
    return 2;
  }
  try {
    fuzz::start();
    kelvane::TransportCert transport = {};
    kelvane::TransportCertGet(&transport);
    Seeds seeds(arguments[1], transport);
    seeds.write_fixed();
    for (int i = 2; i < count; i++) {
      const std::vector<Scenario> fabrics = fabrics_of(arguments[i]);
      const std::string name = std::filesystem::path(arguments[i]).stem();
      for (size_t own = 0; own < fabrics.size(); own++)
        seeds.write_fabric(own == 0 ? name : name + "-" + std::to_string(own), fabrics[own]);
    }
    std::printf("%zu seeds\n", seeds.written());
    return 0;
  } catch (const std::exception &error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
