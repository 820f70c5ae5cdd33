#include "tools/sandbox/faults.h"

#include <fnmatch.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "tools/sandbox/among.h"
#include "tools/sandbox/errno_names.h"

namespace sandbox {
namespace {

[[noreturn]] void refuse(const std::string &text, const char *why) {
  throw OptionError("--fault " + text + ": " + why + " (CALL:SUBJECT:ERROR:WHICH)");
}

// Cuts what stands behind the last ":" off the text.
std::string take_last(std::string &text, const std::string &whole) {
  const size_t colon = text.rfind(':');
  if (colon == std::string::npos) {
    refuse(whole, "too few parts");
  }
  std::string last = text.substr(colon + 1);
  text.resize(colon);
  return last;
}

// The classes whose calls stand in no trace, and are not meant by "*".
constexpr std::array kUntraced = {"memory", "bytes", "database", "inside", "closing"};

// The classes of calls that are not the agent's: no name of a call means them.
constexpr std::array kNotTheAgents = {"inside", "closing"};

constexpr char kPowerName[] = "POWER";

constexpr std::pair<const char *, int> kWords[] = {
    {"SHORT", kShort}, {"KILL", kKill}, {"FULL", kFull}, {"DEAD", kDead}};

int error_of(const std::string &name) {
  for (const auto &[word, error] : kWords) {
    if (name == word) {
      return error;
    }
  }
  if (name.rfind(kPowerName, 0) == 0) {
    return kPower - std::atoi(name.c_str() + sizeof kPowerName - 1);
  }
  return errno_value(name);
}

bool means(const std::string &row, const std::string &call, const std::string &call_class) {
  if (row == call_class) {
    return true;
  }
  return !among(kNotTheAgents, call_class) && (row == call || (row == "*" && !among(kUntraced, call_class)));
}

}  // namespace

void Faults::add(const std::string &text) {
  std::string rest = text;
  std::string which = take_last(rest, text);
  const std::string error = take_last(rest, text);
  const size_t colon = rest.find(':');
  if (colon == std::string::npos || colon == 0) {
    refuse(text, "too few parts");
  }
  Row row;
  row.call = rest.substr(0, colon);
  row.subject = rest.substr(colon + 1);
  row.error = error_of(error);
  if (row.error == 0) {
    refuse(text, "unknown error");
  }
  if (which == "*") {
    which = "1+";
  }
  if (!which.empty() && which.back() == '+') {
    row.later_too = true;
    which.pop_back();
  }
  row.first = which.empty() || which.find_first_not_of("0123456789") != std::string::npos ? 0 : std::stoi(which);
  if (row.first < 1) {
    refuse(text, "WHICH is a number from 1, a number with +, or *");
  }
  rows_.push_back(row);
}

int Faults::due(const std::string &call, const std::string &subject, const std::string &call_class) {
  int error = 0;
  for (Row &row : rows_) {
    const bool this_call = means(row.call, call, call_class);
    const bool this_subject = row.subject.empty() || fnmatch(row.subject.c_str(), subject.c_str(), 0) == 0;
    if (!this_call || !this_subject) {
      continue;
    }
    ++row.seen;
    const bool now = row.later_too ? row.seen >= row.first : row.seen == row.first;
    error = error == 0 && now ? row.error : error;
  }
  return error;
}

}  // namespace sandbox
