// Small files, the first byte says which: 'f' the SSH host key's fingerprint, taken without its colons; 's' the SSH
// daemon's process number, and no other gets a signal; else the marker, emptied when it has more than ten bytes.
#include "core/base/json.h"
#include "plugins/vm_access_operations.h"
#include "provision/host_key.h"
#include "provision/marker.h"
#include "tests/fuzz/signalled.h"
#include "tests/fuzz/world.h"

namespace {

void try_fingerprint(const FakeOs &os, const std::string &bytes) {
  os.write("/data/etc/ssh/ssh_host_rsa_key.pub.fp", bytes);
  char taken[33] = {};
  kelvane::ProvisionAgent_ReadHostKeyFingerprint(taken, 32);
  fuzz::require(fuzz::without_colons(bytes.substr(0, 128), 32) == taken, "the fingerprint is the file's");
}

void try_daemon(const FakeOs &os, const std::string &bytes) {
  os.write("/var/run/sshd.pid", bytes);
  fuzz::signals_may_go_to(bytes);
  kelvane::vm_access_apply(nullptr, kelvane::json_load(R"({"reset_ssh":true})").get());
}

void try_marker(const FakeOs &os, const std::string &bytes) {
  os.write("/data/etc/.provisioned", bytes);
  kelvane::marker_reset_if_long();
  fuzz::require(os.read("/data/etc/.provisioned") == (bytes.size() <= 10 ? bytes : ""), "a long marker is emptied");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static FakeOs os({"access", "close", "open", "unlink"});
  fuzz::start(6);
  const std::string input = size != 0 ? fuzz::bytes_of(data, size) : " ";
  (input[0] == 'f' ? try_fingerprint : input[0] == 's' ? try_daemon : try_marker)(os, input.substr(1));
  return 0;
}
