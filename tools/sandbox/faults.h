// Planned failures of calls of the agent's. A fault is one row "CALL:SUBJECT:ERROR:WHICH":
//   CALL     the call's name as the trace prints it ("open", "mount", "request", "cmf_write_config"), or "*"
//   SUBJECT  a shell pattern for what it works on: the agent's path, the URL with its method, the text between the
//            trace's brackets for a platform call; "" or "*" for any. A ":" in it is fine.
//   ERROR    an errno name for a system call, a libcurl result for a request, anything for a platform call
//   WHICH    "3" the third matching call, "3+" the third and all later ones, "*" all
// Calls that the platform or the sandbox make themselves do not count. Never blocks.
#ifndef KELVANE_TOOLS_SANDBOX_FAULTS_H
#define KELVANE_TOOLS_SANDBOX_FAULTS_H

#include <string>
#include <vector>

#include "tools/sandbox/options.h"

namespace sandbox {

class Faults {
 public:
  // Throws OptionError for a text that is no fault.
  void add(const std::string &text);

  // Counts the call. The number to fail with (errno or libcurl's), or 0 for no failure. Every matching row counts; the
  // first that is due decides.
  int due(const std::string &call, const std::string &subject);

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
