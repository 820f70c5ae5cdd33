// The fabric of a scenario as a child process: started on a free port, asked for its verdict, ended. A scenario without
// a "fabric" part has no cloud at all: the proxy then is a closed port, and every request is refused at once. Throws
// std::runtime_error.
#ifndef KELVANE_TESTS_SCENARIO_RUN_CLOUD_H
#define KELVANE_TESTS_SCENARIO_RUN_CLOUD_H

#include <memory>
#include <string>

#include "tests/scenario/run/process.h"

namespace scenario {

class Cloud {
 public:
  // artifacts: the folder for what the fabric writes, its media among it.
  Cloud(const std::string &program, const std::string &scenario_file, const std::string &artifacts);

  // No cloud.
  Cloud() = default;

  std::string proxy() const;
  std::string media() const;
  // The folder for what the fabric writes; empty without a cloud.
  std::string artifacts() const { return artifacts_; }

  // The body of its answer to a control request.
  std::string ask(const std::string &path) const;
  // The same for one that changes something.
  std::string tell(const std::string &path, const std::string &body) const;

  // Ends the fabric. Empty when it is content, else what it says.
  std::string verdict();

 private:
  std::unique_ptr<Process> process_;
  std::string artifacts_;
  std::string port_;
};

// The keys of "expect" that the fabric looks at, for the search for misspelt ones.
bool is_cloud_expectation(const std::string &key);

}  // namespace scenario

#endif
