// Writes what the fabric sends in some scenarios as the first inputs of the fuzz targets: every goal state's documents
// and containers, with what is secret in them encrypted to the keys that the targets use.
#include <cstdio>
#include <exception>
#include <filesystem>

#include "credentials/transport_cert.h"
#include "tests/fuzz/fixed_key.h"
#include "tests/fuzz/world.h"
#include "tests/fuzz/worst_containers.h"
#include "tests/fuzz/worst_seeds.h"
#include "tests/support/files.h"
#include "tools/fabric/bytes.h"
#include "tools/fabric/container.h"
#include "tools/fabric/documents.h"
#include "tools/fabric/metadata_documents.h"
#include "tools/fabric/ovf.h"
#include "tools/fabric/scenario.h"

namespace {

using namespace kelvane::fabric;

// Small keys, and a single iteration to derive one: what a fuzzer makes of an input is as long and as dear as the
// input. As the platform sends them, containers are among the worst seeds.
void make_cheap(ContainerSpec *container) {
  container->iterations = 1;
}

void make_cheap(Scenario *scenario) {
  make_cheap(&scenario->tenant.container);
  for (CertificateSpec &certificate : scenario->tenant.certificates) certificate.bits = 512;
  for (GoalStateSpec &state : scenario->goal_states) {
    if (!state.metadata) state.metadata.emplace();
    make_cheap(&state.metadata->container);
    if (!state.metadata->certificates) continue;
    for (CertificateDocumentSpec &document : *state.metadata->certificates) make_cheap(&document.container);
  }
}

class Seeds {
 public:
  Seeds(std::string folder, X509 *transport) : folder_(std::move(folder)), transport_(transport) {}

  void write(const std::string &target, const std::string &name, const std::string &bytes) {
    std::filesystem::create_directories(folder_ + "/" + target);
    support::write_file(folder_ + "/" + target + "/" + name, bytes);
    written_++;
  }
  void write_scenario(const std::string &path);
  void write_fixed();
  size_t written() const { return written_; }

 private:
  void write_goal_state(const std::string &name, const Scenario &scenario, const Tenant &tenant,
                        const GoalStateSpec &state);
  void write_metadata(const std::string &name, const Tenant &tenant, const GoalStateSpec &state);

  std::string folder_;
  X509 *transport_;
  size_t written_ = 0;
};

void Seeds::write_metadata(const std::string &name, const Tenant &tenant, const GoalStateSpec &state) {
  write("metadata_identity", name + ".identity", identity_document(*state.metadata));
  write("metadata_identity", name + ".versions", agent_versions_document(*state.metadata));
  write("metadata_handlers", name, extension_handlers_document(state, tenant, transport_));
  write("metadata_certificates", name + ".list", certificate_list_document(state, tenant));
  for (size_t number = 1; number <= certificate_document_count(state, tenant); number++)
    write("metadata_certificates", name + "." + std::to_string(number),
          certificate_document(state, tenant, number, transport_));
}

void Seeds::write_goal_state(const std::string &name, const Scenario &scenario, const Tenant &tenant,
                             const GoalStateSpec &state) {
  const auto identities = tenant.chosen(state.certificates);
  const std::string container = make_container(identities, scenario.tenant.container);
  write("pkcs12", name, container);
  write("cms", name, make_envelope(container, transport_));
  write("goal_state", name, goal_state_document(state, scenario.endpoint));
  write("certificates", name,
        certificates_document(state, scenario.tenant.document,
                              make_certificates_data(identities, scenario.tenant.container, transport_)));
  write("ext_config", name, extensions_document(state, tenant, transport_));
  write("extension_pass", name, extensions_document(state, tenant, transport_));
  write("xml_gate", name, extensions_document(state, tenant, transport_));
  write_metadata(name, tenant, state);
}

void Seeds::write_scenario(const std::string &path) {
  const std::string name = std::filesystem::path(path).stem();
  Scenario scenario = read_scenario(path);
  make_cheap(&scenario);
  const Tenant tenant(scenario.tenant);
  write("ovf", name, ovf_document(scenario.ovf, tenant));
  for (size_t i = 0; i < scenario.goal_states.size(); i++) {
    write_goal_state(name + "." + std::to_string(i), scenario, tenant, scenario.goal_states[i]);
  }
  for (const Identity *identity : tenant.chosen(std::nullopt))
    write("platform_texts", name + "." + identity->spec.name, ssh_rsa_line(*identity));
}

void Seeds::write_fixed() {
  const std::string plain = R"({"commandToExecute":"sh config-eventhub.sh op e30=","password":"secret"})";
  const std::string sealed = protect_settings(plain, transport_);
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
    Seeds seeds(arguments[1], transport.certificate);
    seeds.write_fixed();
    for (int i = 2; i < count; i++) seeds.write_scenario(arguments[i]);
    std::printf("%zu seeds\n", seeds.written());
    return 0;
  } catch (const std::exception &error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
