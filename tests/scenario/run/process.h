// Child processes of the runner: started with their output in a file, waited for with a limit, ended by their own
// number only. Blocks in wait.
#ifndef KELVANE_TESTS_SCENARIO_RUN_PROCESS_H
#define KELVANE_TESTS_SCENARIO_RUN_PROCESS_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace scenario {

class Process {
 public:
  // Throws std::runtime_error when it cannot be started. Standard output and error go to the files.
  Process(const std::vector<std::string> &command, const std::string &out_file, const std::string &error_file);
  // Ends the process when it still runs.
  ~Process();
  Process(const Process &) = delete;
  Process &operator=(const Process &) = delete;

  bool running();
  // The exit status, 128 and the signal for a signal, or -1 when it had to be killed after so many seconds.
  int wait(int seconds);
  // SIGTERM, then wait.
  int terminate(int seconds);

 private:
  pid_t pid_ = -1;
  int status_ = -1;
  bool ended_ = false;
};

// Runs the work in a child of this process and returns the text that it returns; throws std::runtime_error with its
// words when it throws or dies. The platform library is used this way: each time with a root of its own.
std::string in_child(const std::function<std::string()> &work);

}  // namespace scenario

#endif
