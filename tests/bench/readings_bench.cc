// What one reading of the dearest inputs costs that the caps let through: milliseconds of CPU time, the best of five.
// The goal is less than 50 for each. Run by ./dev bench, in a release build without sanitizers; the inputs are those of
// the fuzz targets (tests/fuzz/worst_seeds.cc, tests/fuzz/worst_containers.cc), the readers the agent's own.
//
// Usage: readings_bench [TARGET]
// Exit status: 1 when a release build needs 50 ms or more for a reading, or there is nothing to read.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "core/base/json.h"
#include "core/base/openssl_owners.h"
#include "core/base/xml.h"
#include "credentials/cert_store.h"
#include "credentials/pkcs12_walk.h"
#include "credentials/ssh_pub_key.h"
#include "extensions/handler_settings.h"
#include "platform/platform.h"
#include "platform/reference/ssh_key.h"
#include "plugins/event_hub_command.h"
#include "plugins/plugin_status_file.h"
#include "plugins/vm_access_operations.h"
#include "protocol/metadata/metadata_certificates.h"
#include "protocol/metadata/metadata_handlers.h"
#include "protocol/metadata/metadata_state.h"
#include "protocol/wire/certificates.h"
#include "protocol/wire/ext_config.h"
#include "protocol/wire/goal_state.h"
#include "protocol/wire/http_client.h"
#include "provision/ovf_document.h"
#include "provision/ovf_values.h"
#include "tests/fuzz/fixed_key.h"
#include "tests/fuzz/plugin_file.h"
#include "tests/fuzz/world.h"
#include "tests/fuzz/worst_containers.h"
#include "tests/fuzz/worst_seeds.h"
#include "tests/support/base64.h"

// The reference platform's; the recording one has the name (CMakeLists.txt).
extern "C" int32_t reference_b64_pton(const char *text, uint8_t *buffer, size_t size);

namespace {

kelvane::Buffer buffer_of(const std::string &text) {
  return {const_cast<char *>(text.data()), text.size()};
}

void read_ovf(const std::string &) {
  bool no_memory = false;
  kelvane::XmlOwner tree = kelvane::OvfEnvLoad(&no_memory);
  kelvane::Text host_name, user_name, password;
  if (tree.present()) {
    kelvane::ProvisionAgent_ParseOvfEnv(tree.get(), &host_name, &user_name, &password);
  }
  kelvane::OvfEnvFree(&tree);
}

void read_goal_state(const std::string &text) {
  const kelvane::Buffer buffer = buffer_of(text);
  kelvane::goal_state_parse(&buffer);
}

void read_certificates(const std::string &text) {
  const kelvane::Buffer buffer = buffer_of(text);
  kelvane::certificates_process(&buffer);
}

void read_container(const std::string &text) {
  const auto *at = reinterpret_cast<const unsigned char *>(text.data());
  const kelvane::Pkcs12Owner container(d2i_PKCS12(nullptr, &at, static_cast<long>(text.size())));
  fuzz::require(container.present(), "the container is one");
  kelvane::ProcessPKCS12(container.get(), kelvane::SSHPubKeyAdd);
}

void read_ext_config(const std::string &text) {
  const kelvane::XmlOwner tree = kelvane::xml_load(text.c_str(), text.size());
  kelvane::ExtConfig config = {};
  if (tree.present()) {
    kelvane::ExtConfigParse(tree.get(), &config);
  }
  kelvane::ext_config_release(&config);
}

void read_runtime_settings(const std::string &text) {
  const kelvane::JsonSecretOwner document = kelvane::HandlerUtilParseConfig(text.c_str());
  kelvane::HandlerUtilGetSettings(document.get(), nullptr, nullptr);
}

void read_protected_settings(const std::string &text) {
  kelvane::HandlerUtilParseProtectedSettings(text.c_str() + 1, nullptr);
}

void read_custom_script(const std::string &command) {
  char transcript[256] = "";
  kelvane::CustomScript_ConfigEventHub(command.c_str(), transcript, sizeof transcript);
}

void read_header(const std::string &line) {
  kelvane::__curl_header_recv_cb(const_cast<char *>(line.data()), 1, line.size(), nullptr);
}

void read_metadata_document(const std::string &text) {
  const kelvane::JsonOwner document = kelvane::json_load(text.c_str());
  kelvane::metadata_keep_document(&kelvane::metadata_state()->extensions, document.get());
  kelvane::ExtHandlerList list = {};
  kelvane::metadata_handlers_convert(document.get(), &list);
  kelvane::metadata_handlers_convert(nullptr, &list);
}

void read_metadata_certificate(const std::string &text) {
  const kelvane::JsonOwner document = kelvane::json_load(text.c_str());
  kelvane::processJSONCertificate(document.get());
}

void read_vm_access(const std::string &text) {
  kelvane::vm_access_apply(nullptr, kelvane::json_load(text.c_str()).get());
}

void read_platform_text(const std::string &text) {
  std::vector<uint8_t> bytes(text.size());
  reference_b64_pton(text.c_str(), bytes.data(), bytes.size());
  kelvane::reference::parse_ssh_key(text.c_str());
}

struct Row {
  const char *target;
  void (*read)(const std::string &input);
};

constexpr Row kRows[] = {
    {"ovf", read_ovf},
    {"goal_state", read_goal_state},
    {"certificates", read_certificates},
    {"pkcs12", read_container},
    {"ext_config", read_ext_config},
    {"runtime_settings", read_runtime_settings},
    {"protected_settings", read_protected_settings},
    {"plugin_status", [](const std::string &) { kelvane::plugin_status_load(); }},
    {"custom_script", read_custom_script},
    {"vm_access", read_vm_access},
    {"headers", read_header},
    {"metadata_identity", read_metadata_document},
    {"metadata_handlers", read_metadata_document},
    {"metadata_certificates", read_metadata_certificate},
    {"platform_texts", read_platform_text},
};

// In milliseconds; each time the registry of plugins, the records and the certificates are as after a start.
double once(const Row &row, const std::string &input) {
  recording::reset();
  recording::seed_factory_defaults();
  recording::seed_event_hub();
  kelvane::CertStoreClear();
  fuzz::start(6);
  fuzz::store_fixed_certificate();
  fuzz::fresh_registry();
  const std::clock_t start = std::clock();
  row.read(input);
  return static_cast<double>(std::clock() - start) * 1000 / CLOCKS_PER_SEC;
}

double best_of_five(const Row &row, const std::string &input) {
  double best = once(row, input);
  for (int i = 0; i < 4; i++) {
    best = std::min(best, once(row, input));
  }
  return best;
}

constexpr double kLimit = 50;  // milliseconds
#ifdef NDEBUG
constexpr bool kRelease = true;
#else
constexpr bool kRelease = false;
#endif

// As the target of the custom script makes it: a line, and the settings behind it in base64.
std::string command_of(const std::string &input) {
  const size_t line_end = input.find('\n');
  return line_end == std::string::npos ? input
                                       : input.substr(0, line_end) + " " + support::base64(input.substr(line_end + 1));
}

}  // namespace

int main(int argc, char **argv) {
  // The agent tells on standard output why a certificate was skipped.
  FILE *const table = fdopen(dup(STDOUT_FILENO), "w");
  fuzz::require(table != nullptr && freopen("/dev/null", "w", stdout) != nullptr, "there is somewhere to write to");
  FakeOs os;
  os.hide({"access", "close", "open", "unlink"});
  fuzz::start(6);
  std::map<std::string, std::string> inputs = fuzz::worst_seeds();
  inputs.merge(fuzz::worst_containers());
  double dearest = 0;
  size_t readings = 0;
  for (const auto &[name, input] : inputs) {
    const std::string target = name.substr(0, name.find('/'));
    const Row *row = std::find_if(std::begin(kRows), std::end(kRows), [&](const Row &r) { return target == r.target; });
    if (row == std::end(kRows) || (argc > 1 && target != argv[1])) {
      continue;
    }
    os.write("/cdrom/ovf-env.xml", input);
    os.write("/data/etc/.ovf-env.xml", "");
    os.write("/data/etc/.plugin_status", input);
    const double time = best_of_five(*row, target == "custom_script" ? command_of(input) : input);
    std::fprintf(table, "%8.1f ms  %8zu bytes  %s\n", time, input.size(), name.c_str());
    dearest = std::max(dearest, time);
    readings++;
  }
  if (readings == 0) {
    std::fprintf(stderr, "nothing is called %s here\n", argc > 1 ? argv[1] : "anything");
    return 1;
  }
  const bool too_dear = kRelease && dearest >= kLimit;
  std::fprintf(table, "%8.1f ms  the dearest%s\n", dearest, too_dear ? ": too dear" : "");
  std::fclose(table);
  return too_dear ? 1 : 0;
}
