#include "tools/fabric/openssl_program.h"

#include <openssl/pem.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "tools/fabric/artifacts.h"

namespace kelvane::fabric {

namespace {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    path_ = (std::filesystem::temp_directory_path() / "kelvane-fabric-XXXXXX").string();
    if (mkdtemp(path_.data()) == nullptr) throw CryptoError("no temporary folder");
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder &) = delete;
  TemporaryFolder &operator=(const TemporaryFolder &) = delete;

  std::string write(const std::string &name, const std::string &contents) const {
    write_private_file(path_ + "/" + name, contents);
    return path_ + "/" + name;
  }

 private:
  std::string path_;
};

std::string output_of(const std::string &command) {
  std::string out;
  FILE *pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw CryptoError("cannot run " + command);
  std::array<char, 4096> part = {};
  for (size_t count = 0; (count = fread(part.data(), 1, part.size(), pipe)) > 0;) out.append(part.data(), count);
  if (pclose(pipe) != 0 || out.empty()) throw CryptoError("failed: " + command);
  return out;
}

std::string pem_of(X509 *certificate) {
  BioPtr out = writing_bio();
  if (PEM_write_bio_X509(out.get(), certificate) != 1) throw_crypto("certificate as PEM");
  return bio_bytes(out.get());
}

}  // namespace

std::string seal_by_program(const std::string &command, std::string_view text, X509 *recipient) {
  const TemporaryFolder folder;
  const std::string plain = folder.write("plain", std::string(text));
  const std::string certificate = folder.write("certificate.pem", pem_of(recipient));
  return output_of("openssl " + command + " -encrypt -binary -outform DER -aes256 -in '" + plain + "' '" + certificate +
                   "'");
}

}  // namespace kelvane::fabric
