// The agent's world for fuzz targets: the recording platform, a transport certificate for a fixed key, the same in
// every run, and files for agent code that reads them by their real path. A target calls start() first. One thread.
#ifndef KELVANE_TESTS_FUZZ_WORLD_H
#define KELVANE_TESTS_FUZZ_WORLD_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/fuzz/properties.h"
#include "tests/support/fake_os.h"
#include "tests/support/recording_platform.h"

namespace fuzz {

// Before each input: log and trace empty, this debug level. The first time makes the transport certificate.
void start(int32_t debug_level = 7);

// What was logged but for the lines that tell which cap a document is over.
std::string logged();

// What the certificate store holds, as its dump shows it, which must tell 20 records at the most; the log is empty
// afterwards.
std::string certificate_store();
// How many keys of the SSH store an account takes, three at the most; the store is empty afterwards.
size_t ssh_keys_installed();

// A file that agent code finds at its real path; its content is replaced without making it anew.
class ServedFile {
 public:
  ServedFile(const FakeOs &os, const std::string &path);
  void serve(const std::string &bytes) const;

 private:
  int descriptor_;
};

}  // namespace fuzz

#endif
