// How a command of kelvanectl fails: a text for standard error and the exit status. The statuses stand in the help text
// and are kept: scripts rely on them.
#ifndef KELVANE_TOOLS_KELVANECTL_FAILURE_H
#define KELVANE_TOOLS_KELVANECTL_FAILURE_H

#include <stdexcept>
#include <string>

namespace kelvanectl {

enum ExitStatus {
  kDone = 0,
  kFailed = 1,    // no such table, record or field, a bad value, or the platform refused
  kUsage = 2,     // the command line is wrong
  kNoAgent = 3,   // no pid file, or its process is not a running agent
  kTimedOut = 4,  // the agent did not serve the command in time
};

class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string &text, ExitStatus status = kFailed) : std::runtime_error(text), status_(status) {}
  ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

}  // namespace kelvanectl

#endif
