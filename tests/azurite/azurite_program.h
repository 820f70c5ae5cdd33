// Azurite, a storage service that somebody else wrote, as a program of a test: started on a free port of loopback, in
// memory, with an account of the tests' own, and ended by its process number. Its API is spoken with the curl command
// line, apart from everything that the agent is made of. Every call blocks; what goes wrong throws std::runtime_error.
#ifndef KELVANE_TESTS_AZURITE_AZURITE_PROGRAM_H
#define KELVANE_TESTS_AZURITE_AZURITE_PROGRAM_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/support/files.h"

namespace azurite {

inline constexpr const char *kPrivate = "status";  // a container that only signed requests reach
inline constexpr const char *kPublic = "open";     // one whose blobs anybody may read

// What the service answered.
struct Answer {
  int status = 0;
  std::string error_code;  // its x-ms-error-code
  std::string blob_type;   // its x-ms-blob-type
  std::string body;
};

// What a signed address grants.
struct Grant {
  std::string permissions = "rw";
  std::string expiry = "2099-12-31T00:00:00Z";
  std::string signed_for = "";  // the blob ("container/blob") whose signature it bears, when not its own
};

class Azurite {
 public:
  // Why it cannot be started here; empty when it can.
  static std::string missing();

  // Started, with its two containers.
  Azurite();
  ~Azurite();
  Azurite(const Azurite &) = delete;
  Azurite &operator=(const Azurite &) = delete;

  // Addresses of a blob ("container/blob"): bare, and with the query that grants access to it.
  std::string address(const std::string &blob) const;
  std::string signed_address(const std::string &blob, const Grant &grant = {}) const;

  // Done with all rights.
  Answer get(const std::string &blob) const;
  Answer get_anonymously(const std::string &blob) const;
  void put_block_blob(const std::string &blob, const std::string &bytes) const;
  // So many zeros.
  void put_page_blob(const std::string &blob, size_t size) const;
  void put_append_blob(const std::string &blob) const;
  void remove(const std::string &blob) const;

 private:
  void start();
  void await_port();
  void end();
  std::string account_query() const;
  Answer request(const std::string &method, const std::string &address, const std::vector<std::string> &headers = {},
                 const std::string &body = "") const;
  void expect_done(const std::string &method, const std::string &path, const std::vector<std::string> &headers,
                   const std::string &body = "") const;

  support::TempDir folder_;
  pid_t pid_ = -1;
  std::string origin_;
};

}  // namespace azurite

#endif
