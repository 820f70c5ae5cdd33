// Runs the real kelvane-fabric and talks to it over raw sockets, so that every byte of a request is the test's own.
// For the fabric's tests alone. Every call blocks, a minute at the most; what goes wrong throws std::runtime_error.
// It ends only the programs it started, by their process number.
#ifndef KELVANE_TESTS_FABRIC_FABRIC_PROGRAM_H
#define KELVANE_TESTS_FABRIC_FABRIC_PROGRAM_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/support/files.h"

namespace kelvane::fabric_test {

// What came back for one request.
struct Reply {
  int status = 0;          // 0: no answer could be read
  std::string head;        // with its empty line
  std::string body;        // what came of it
  std::string raw;         // everything that came
  bool reset = false;      // the connection ended with a reset
  bool timed_out = false;  // nothing more came within the time
};

using support::read_file;
using support::TempDir;
using support::write_file;

// The output of a shell command (standard output and error); throws when it fails.
std::string run_command(const std::string &command);

// A fabric that plays a scenario given as JSON text, with a journal, artifacts and a control port.
class FabricProgram {
 public:
  explicit FabricProgram(const std::string &scenario, const std::vector<std::string> &options = {});
  ~FabricProgram();
  FabricProgram(const FabricProgram &) = delete;
  FabricProgram &operator=(const FabricProgram &) = delete;

  int port() const { return port_; }
  const TempDir &folder() const { return folder_; }

  // A connection to the port; -1 when it is refused.
  int connect_to(int port) const;
  int connect_to() const { return connect_to(port_); }
  // Sends the bytes over a fresh connection and reads until the answer is whole or nothing comes for `seconds`.
  Reply exchange(const std::string &bytes, double seconds = 60) const;
  // A GET or POST to the wire server in absolute form; `headers` are lines with their line ends.
  Reply get(const std::string &path_and_query, const std::string &headers) const;
  Reply post(const std::string &path_and_query, const std::string &headers, const std::string &body) const;
  // A control request over the control port.
  Reply control(const std::string &method, const std::string &target, const std::string &body = "") const;
  // The lines of the journal file, parsed and written again without spaces.
  std::vector<std::string> journal() const;
  // Sends SIGTERM, waits, and returns the exit status; the output is then in output().
  int end();
  int wait_for_end();
  std::string output() const { return read_file(folder_.file("out")); }

 private:
  TempDir folder_;
  pid_t pid_ = -1;
  int port_ = 0;
  int control_port_ = 0;
};

// Runs the program to its end; the exit status and everything it printed.
struct Ended {
  int status;
  std::string output;
};
Ended run_fabric(const std::string &options);

// One request over a connection that is already there.
Reply exchange_over(int fd, const std::string &bytes, double seconds);

// The header lines of the agent, and those of its posts.
extern const char kAgent[];
extern const char kAgentPost[];

}  // namespace kelvane::fabric_test

#endif
