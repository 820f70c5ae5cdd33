// The trace: one readable line for each thing that the agent does to the outside world, in order. What the platform
// library or the sandbox do on their own is kept out of it by a depth that is not 0 meanwhile. What differs from run to
// run (process numbers, descriptors, random bytes, password hashes, the root folder) never stands in a line. Lines are
// flushed one by one, so that they survive a kill. Blocks for as long as the disk does; a line that cannot be written
// is lost.
#ifndef KELVANE_TOOLS_SANDBOX_TRACE_H
#define KELVANE_TOOLS_SANDBOX_TRACE_H

#include <cstdio>
#include <functional>
#include <string>

namespace sandbox {

class Trace {
 public:
  ~Trace();

  // "" for no trace, "-" for standard output. False when the file cannot be made.
  bool open(const std::string &file);

  // What to put in front of each line (the agent's seconds); empty: nothing.
  void set_prefix(std::function<std::string()> prefix) { prefix_ = std::move(prefix); }

  // Writes a line when the depth is 0.
  void line(const std::string &text);

  bool outermost() const { return depth_ == 0; }
  void enter() { ++depth_; }
  void leave() { --depth_; }

 private:
  std::FILE *stream_ = nullptr;
  int depth_ = 0;
  std::function<std::string()> prefix_;
};

// While one of these lives, nothing is the agent's own doing.
class NotTheAgent {
 public:
  explicit NotTheAgent(Trace &trace) : trace_(trace) { trace_.enter(); }
  ~NotTheAgent() { trace_.leave(); }
  NotTheAgent(const NotTheAgent &) = delete;
  NotTheAgent &operator=(const NotTheAgent &) = delete;

 private:
  Trace &trace_;
};

}  // namespace sandbox

#endif
