// The provisioning document: what it says is found in it, reading it twice gives the same, no text of it but
// fingerprints reaches the log, and the account gets three keys at the most.
#include "core/base/text.h"
#include "provision/ovf_document.h"
#include "provision/ovf_values.h"
#include "tests/fuzz/world.h"

namespace {

std::string values(const std::string &document) {
  bool no_memory = false;
  kelvane::XmlOwner tree = kelvane::OvfEnvLoad(&no_memory);
  const std::string loading = fuzz::logged();
  fuzz::require(loading.find("parsing ovf-env.xml\n[kelvane]: OvfEnvLoad:236 - done") != std::string::npos,
                "loading logs nothing of the document");
  kelvane::Text host_name, user_name, password;
  if (tree.present()) {
    kelvane::ProvisionAgent_ParseOvfEnv(tree.get(), &host_name, &user_name, &password);
  }
  kelvane::OvfEnvFree(&tree);
  std::string shown;
  for (const kelvane::Text *text : {&host_name, &user_name, &password}) {
    fuzz::require_from(document, text->get());
    shown += std::string(kelvane::text_or(text->get(), "")) + '\n';
  }
  return shown + std::to_string(fuzz::ssh_keys_installed());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static FakeOs os({"access", "close", "open"});
  static const fuzz::ServedFile file(os, "/cdrom/ovf-env.xml");
  fuzz::start();
  const std::string document = fuzz::bytes_of(data, size);
  file.serve(document);
  fuzz::require(values(document) == values(document), "reading twice gives the same");
  return 0;
}
