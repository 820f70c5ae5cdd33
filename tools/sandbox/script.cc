#include "tools/sandbox/script.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>

#include "tools/sandbox/clock.h"

namespace sandbox {
namespace {

constexpr std::array kActions = {"endpoint", "set",   "command", "debug_level", "media",
                                 "url",      "write", "remove",  "kill"};

void check(const nlohmann::json &event) {
  if (!event.is_object() || !event.contains("at") || !event["at"].is_number() || event["at"].get<double>() < 0) {
    throw std::runtime_error("an event of the script has no \"at\": " + event.dump());
  }
  const auto actions =
      std::count_if(kActions.begin(), kActions.end(), [&](const char *a) { return event.contains(a); });
  if (actions != 1) {
    throw std::runtime_error("an event of the script has not exactly one action: " + event.dump());
  }
}

int64_t time_of(const nlohmann::json &event) {
  return static_cast<int64_t>(event["at"].get<double>() * static_cast<double>(kSecond));
}

}  // namespace

Script Script::parse(const nlohmann::json &list) {
  if (!list.is_array()) {
    throw std::runtime_error("a script is a JSON list");
  }
  Script script;
  for (const nlohmann::json &event : list) {
    check(event);
    script.events_.push_back(event);
  }
  std::stable_sort(script.events_.begin(), script.events_.end(),
                   [](const nlohmann::json &a, const nlohmann::json &b) { return time_of(a) < time_of(b); });
  return script;
}

Script Script::load(const std::string &file) {
  std::ifstream stream(file);
  if (!stream) {
    throw std::runtime_error("cannot read the script " + file);
  }
  return parse(nlohmann::json::parse(stream));
}

std::optional<int64_t> Script::next() const {
  return done_ < events_.size() ? std::optional(time_of(events_[done_])) : std::nullopt;
}

void Script::run_next(const std::function<void(const nlohmann::json &)> &action) {
  action(events_[done_++]);
}

}  // namespace sandbox
