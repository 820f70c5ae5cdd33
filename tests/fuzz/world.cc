#include "tests/fuzz/world.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <set>

#include "credentials/cert_store.h"
#include "credentials/crypto_library.h"
#include "credentials/ssh_pub_key.h"
#include "credentials/transport_cert.h"
#include "tests/fuzz/fixed_key.h"

namespace fuzz {

void start(int32_t debug_level) {
  static const bool made = [] {
    recording::reset();
    kelvane::CryptoLibraryInit();
    require(kelvane::TransportCertMake() == 0, "there is a transport certificate");
    return true;
  }();
  require(made, "the world is made once");
  recording::set_debug_level(debug_level);
  recording::clear_trace();
}

std::string logged() {
  static const std::set<std::string> kCaps = {
      "[kelvane]: an XML document is over a cap and is not read: bytes\n",
      "[kelvane]: an XML document is over a cap and is not read: words and other nodes\n",
      "[kelvane]: an XML document is over a cap and is not read: elements\n",
      "[kelvane]: an XML document is over a cap and is not read: references\n",
      "[kelvane]: an XML document is over a cap and is not read: attributes\n",
      "[kelvane]: an XML document is over a cap and is not read: levels\n",
      "[kelvane]: a JSON text is over a cap and is not read: bytes\n",
      "[kelvane]: a JSON text is over a cap and is not read: values\n",
      "[kelvane]: a JSON text is over a cap and is not read: levels\n"};
  std::string others;
  for (const std::string &line : recording::messages()) {
    others += kCaps.count(line) == 0 ? line : "";
  }
  return others;
}

std::string certificate_store() {
  recording::clear_trace();
  kelvane::CertStoreDump();
  std::string shown = recording::log_text();
  const char *last = recording::messages().back().c_str();
  int count = -1;
  require(std::sscanf(last, "End Dump %d certificate(s)", &count) == 1 && count >= 0 && count <= 20,
          "the certificate store holds 20 records at the most");
  recording::clear_trace();
  return shown;
}

size_t ssh_keys_installed() {
  recording::clear_trace();
  kelvane::SSHPubKeySet("admin");
  const size_t installed = recording::calls_of("ssh_pubkey_data_set").size();
  require(installed <= 3, "three SSH keys are installed at the most");
  kelvane::SSHPubKeySet("admin");
  require(recording::calls_of("ssh_pubkey_data_set").size() == installed, "the SSH store is empty afterwards");
  recording::clear_trace();
  return installed;
}

ServedFile::ServedFile(const FakeOs &os, const std::string &path) {
  os.write(path, "");
  descriptor_ = ::open(os.real(path).c_str(), O_RDWR | O_CLOEXEC);
  require(descriptor_ >= 0, "the file can be opened");
}

void ServedFile::serve(const std::string &bytes) const {
  const bool written = ftruncate(descriptor_, 0) == 0 &&
                       pwrite(descriptor_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size());
  require(written, "the file can be written");
}

}  // namespace fuzz

// The transport certificate is made for the fixed key. Here, as this file is in every program that makes one.
extern "C" RSA *__wrap_generate_RSA_key(int32_t, uint64_t, void *, void *) {
  return fuzz::fixed_rsa_key();
}
