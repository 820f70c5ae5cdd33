// The one sandbox of the process: options, paths, clock, drive, faults, script and trace together, and what the wrapped
// calls need of them. Set up by the wrapped main before the agent's own runs; until then, and again while the process
// ends, every wrapped call goes straight through.
#ifndef KELVANE_TOOLS_SANDBOX_WORLD_H
#define KELVANE_TOOLS_SANDBOX_WORLD_H

#include <cstdint>
#include <string>

#include "tools/sandbox/clock.h"
#include "tools/sandbox/failing_disc.h"
#include "tools/sandbox/faults.h"
#include "tools/sandbox/media.h"
#include "tools/sandbox/options.h"
#include "tools/sandbox/paths.h"
#include "tools/sandbox/script.h"
#include "tools/sandbox/sites.h"
#include "tools/sandbox/trace.h"

namespace sandbox {

struct World {
  bool active = false;
  bool closing = false;  // the agent has ended, and what it left open is closed
  Options options;
  Paths paths;
  Clock clock;
  Media media;
  Faults faults;
  FailingDisc disc;
  Sites sites;
  Script script;
  Trace trace;

  std::string platform_call;  // "NAME(WHAT)" while the platform works for the agent; empty otherwise

  // Whether a call that comes now is the agent's own.
  bool agent_calls() const { return active && trace.outermost(); }

  // Counts a call of this class and says how it is to fail: a number of errno or libcurl's, kShort, or 0. Does not come
  // back when the process is to be killed there.
  int strike(const std::string &call_class, const std::string &call, const std::string &subject);

  // The same for what the platform does to a file of its own or of the agent's.
  int strike_inside(const std::string &call, const std::string &place);
};

World &world();

// Makes the root with its usual folders and sets everything up. Throws std::runtime_error.
void set_up(const Options &options);

// Runs the events of the script that are due now.
void run_due_events();

// Sleeps on the agent's clock, with the events that fall into it; ends the process when --stop-after is reached. False
// when a signal cut the sleep short.
bool sleep_for(int64_t nanoseconds);

// Ends the process in an orderly way, with a last line in the trace.
[[noreturn]] void end_process(int status, const std::string &last_line);

// The beginning of most wrapped calls: what the trace will show, and whether a fault is due.
struct SystemCall {
  // name and subject are matched by faults; shown is what stands between the brackets.
  SystemCall(std::string name, const std::string &subject, std::string shown);

  // The trace line, with the result: 0 "= 0", failure "= -1 ERRNO" (read from errno, which is kept).
  int done(int result) const;
  // The trace line with this text behind "=".
  void done(const std::string &result) const;

  std::string name;
  std::string shown;
  bool agent;  // the agent's own call
  int fault;   // the errno to fail with, or 0
};

}  // namespace sandbox

#endif
