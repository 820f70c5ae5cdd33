// Planned failures of calls of the agent's. A fault is one row "CALL:SUBJECT:ERROR:WHICH":
//   CALL     the call's name as the trace prints it ("open", "mount", "request", "cmf_write_config"), "*" for any of
//            those and for dup2, or a class (sites.h)
//   SUBJECT  a shell pattern for what it works on: the agent's path, the URL with its method, the text between the
//            trace's brackets for a platform call; "" or "*" for any. A ":" in it is fine.
//   ERROR    an errno name for a system call, a libcurl result for a request, anything for a platform call; "SHORT"
//            lets a read or write stop half-way; "KILL" ends the process by SIGKILL in front of the call; "POWER" does
//            so after a loss of power, and "POWER1", "POWER2", ... after other ones (durability.h); from the call on
//            the disc is full for "FULL", and gives nothing any more for "DEAD" (failing_disc.h)
//   WHICH    "3" the third matching call, "3+" the third and all later ones, "*" all
// Calls that the platform or the sandbox make themselves do not count. Never blocks.
#ifndef KELVANE_TOOLS_SANDBOX_FAULTS_H
#define KELVANE_TOOLS_SANDBOX_FAULTS_H

#include <string>
#include <vector>

#include "tools/sandbox/options.h"

namespace sandbox {

// What is not a number of errno.
inline constexpr int kShort = -1;
inline constexpr int kKill = -2;
inline constexpr int kFull = -3;
inline constexpr int kDead = -4;
inline constexpr int kPower = -100;  // and below: the number of the loss

class Faults {
 public:
  // Throws OptionError for a text that is no fault.
  void add(const std::string &text);

  // Counts the call. The number to fail with (errno or libcurl's, or one of those above), or 0 for no failure. Every
  // matching row counts; the first that is due decides.
  int due(const std::string &call, const std::string &subject, const std::string &call_class = "");

 private:
  struct Row {
    std::string call;
    std::string subject;
    int error = 0;
    int first = 1;
    bool later_too = false;
    int seen = 0;
  };
  std::vector<Row> rows_;
};

}  // namespace sandbox

#endif
