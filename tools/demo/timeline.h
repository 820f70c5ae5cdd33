// The story of a run: the sandbox's trace, line by line, turned into what a person wants to see of it. One table of
// rules decides what is told and how; what no rule names is left out. Only prints; nothing here can fail.
#ifndef KELVANE_TOOLS_DEMO_TIMELINE_H
#define KELVANE_TOOLS_DEMO_TIMELINE_H

#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "tools/demo/output.h"

namespace demo {

struct Entry {
  int64_t second = 0;  // agent time since its start
  Look look = Look::kLogs;
  std::string text;
};

// What a trace line such as `[12] request GET http://... = 0 200` tells, or nothing.
std::optional<Entry> tell(const std::string &trace_line);

// The heading for what the trace line begins, or nullptr when it begins nothing new.
const char *heading_of(const std::string &trace_line);

// Whether the line is a request that carried a report and was answered.
bool is_report(const std::string &trace_line);

// The agent's second that a trace line begins with, or -1.
int64_t second_of(const std::string &trace_line);

void print(const Entry &entry);

// A file that another process appends to, read line by line as far as it has got.
class Follower {
 public:
  explicit Follower(std::string file) : file_(std::move(file)) {}

  // The whole lines that came since the last call.
  std::vector<std::string> lines();

 private:
  std::string file_;
  std::ifstream stream_;
  std::string partial_;
};

}  // namespace demo

#endif
