// One program that the demo starts: its output goes to a file, and it ends with the demo unless it is let go. Starting
// and stopping block for a few seconds at the most. Only processes started here are ever signalled.
#ifndef KELVANE_TOOLS_DEMO_PROCESS_H
#define KELVANE_TOOLS_DEMO_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace demo {

class Process {
 public:
  // Starts argv[0], a path. Throws std::runtime_error when that fails.
  Process(const std::vector<std::string> &argv, const std::string &output_file);
  ~Process() { stop(); }
  Process(const Process &) = delete;
  Process &operator=(const Process &) = delete;

  pid_t pid() const { return pid_; }

  // Whether it still runs. Afterwards status() is its exit status, or 128 and the signal that ended it.
  bool running();
  int status() const { return status_; }

  // Ends it by a signal and waits until it is gone. Throws when that takes too long.
  void end_by(int signal);

  // SIGTERM, and SIGKILL two seconds later. Nothing when it has ended or was let go.
  void stop();

  // Leaves it running when the demo ends.
  void let_go() { kept_ = true; }

 private:
  pid_t pid_ = -1;
  int status_ = -1;
  bool ended_ = false;
  bool kept_ = false;
};

// Runs a program to its end and returns its exit status; *output receives what it wrote to both outputs.
int run_program(const std::vector<std::string> &argv, std::string *output);

void pause_milliseconds(long milliseconds);

}  // namespace demo

#endif
