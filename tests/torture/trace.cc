#include "tests/torture/trace.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "tests/torture/sites.h"

namespace torture {
namespace {

bool has(const std::string &text, const char *part) {
  return text.find(part) != std::string::npos;
}

bool ends_with(const std::string &text, const std::string &end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// "[62] stop"; an empty line is of the time before.
int64_t time_of(const std::string &line, int64_t before) {
  return line.empty() ? before : std::atoll(line.c_str() + 1);
}

}  // namespace

bool ended_in_time(const std::string &trace) {
  return ends_with(trace, "] stop\n");
}

bool made_a_request(const std::string &trace) {
  return has(trace, "] request ");
}

bool provisions(const std::string &trace) {
  return has(trace, "comp=health") || has(trace, "provisioningStatus");
}

bool provisions_in_part(const std::string &trace) {
  return provisions(trace) || has(trace, "sethostname(") || has(trace, "\"admin\"");
}

bool reports_status(const std::string &trace) {
  std::istringstream lines(trace);
  bool found = false;
  for (std::string line; !found && std::getline(lines, line);) {
    found = has(line, "] request PUT ") && has(line, "/status/");
  }
  return found;
}

bool stopped_in_a_wait(const std::string &trace) {
  const size_t last = trace.rfind("] sleep ");
  return last == std::string::npos || trace.compare(last, 10, "] sleep 1\n") != 0;
}

int64_t seconds_since_a_question(const std::string &trace) {
  std::istringstream lines(trace);
  int64_t now = 0, asked = 0;
  for (std::string line; std::getline(lines, line);) {
    now = time_of(line, now);
    asked = has(line, "] request ") && is_question(line) ? now : asked;
  }
  return now - asked;
}

Waits longest_waits(const std::string &trace) {
  std::istringstream lines(trace);
  Waits longest;
  int64_t last = 0, now = 0;
  bool is_first = true;
  for (std::string line; std::getline(lines, line);) {
    now = time_of(line, now);
    int64_t &of_this = is_first ? longest.first : longest.later;
    of_this = std::max(of_this, now - last);
    if (ends_with(line, "] sleep 1")) {
      last = now;
      is_first = false;
    }
  }
  return longest;
}

bool within(const Waits &waits, const Waits &usual, int64_t more) {
  return waits.first <= usual.first + more && waits.later <= usual.later + more;
}

GoingOn going_on_behind(const std::string &sites, const std::string &beginning) {
  std::istringstream lines(sites);
  GoingOn out;
  bool is_behind = false, in_later_turn = false;
  int64_t turns = 0;
  for (std::string line; std::getline(lines, line);) {
    if (is_behind && line == "sleep 1") {
      in_later_turn = true;
      out.turns_without = std::max(out.turns_without, ++turns);
    } else if (in_later_turn && line.rfind("request ", 0) == 0 && is_question(line)) {
      out.asked = true;
      turns = 0;
    }
    is_behind = is_behind || line.rfind(beginning, 0) == 0;
  }
  return out;
}

bool complains(const std::string &errors) {
  return has(errors, "Sanitizer") || has(errors, "runtime error") || has(errors, "kelvane-sandbox:");
}

bool finds_database_damaged(const std::string &log) {
  return has(log, "is damaged");
}

}  // namespace torture
