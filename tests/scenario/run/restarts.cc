#include "tests/scenario/run/restarts.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <stdexcept>

#include "tools/fabric/bytes.h"
#include "tools/fabric/json_match.h"

namespace scenario {
namespace {

using kelvane::fabric::json_mismatch;
using kelvane::fabric::Members;

std::string line(const std::string &what, const std::string &why) {
  return why.empty() ? "" : "  " + what + ": " + why + "\n";
}

int signal_of(const std::string &name) {
  if (name != "TERM" && name != "KILL") {
    throw std::runtime_error("restarts: a stop is \"TERM\" or \"KILL\", not \"" + name + "\"");
  }
  return name == "TERM" ? SIGTERM : SIGKILL;
}

// ---- the play without a restart ----------------------------------------------------------------------------------

std::string document_mismatch(const Json &expected, const Json &document) {
  if (expected.contains("type") && expected["type"] != document["type"]) {
    return "expected a " + expected["type"].get<std::string>() + ", came a " + document["type"].get<std::string>();
  }
  if (expected.contains("blob") &&
      !kelvane::fabric::glob_match(expected["blob"].get<std::string>(), document["blob"].get<std::string>())) {
    return "expected in " + expected["blob"].get<std::string>() + ", came in " + document["blob"].get<std::string>();
  }
  const bool whole = expected.contains("json");
  if (!whole && !expected.contains("includes")) {
    return "";
  }
  return json_mismatch(expected[whole ? "json" : "includes"].dump(), document["text"].get<std::string>(),
                       whole ? Members::kAll : Members::kNamed);
}

// Two documents a step: one of each pass.
std::string check_steps(const Json &scenario, const Outcome &outcome) {
  const std::vector<Json> steps = goal_state_steps(scenario);
  if (outcome.documents.size() != 2 * steps.size()) {
    return line("status documents",
                "expected " + std::to_string(2 * steps.size()) + ", came " + std::to_string(outcome.documents.size()));
  }
  std::string report;
  for (size_t i = 0; i < outcome.documents.size(); ++i) {
    const Json &step = steps[i / 2];
    report += line("step " + step["name"].get<std::string>() + ", pass " + std::to_string(i % 2 + 1),
                   document_mismatch(part(step, "status"), outcome.documents[i]));
  }
  return report;
}

// ---- a play with a restart -----------------------------------------------------------------------------------------

// What a restart at this place changes and may change: the value at each pointer.
using Changes = std::vector<Json>;

class Matrix {
 public:
  Matrix(const Programs &programs, const Json &scenario, std::string folder)
      : programs_(programs), scenario_(scenario), folder_(std::move(folder)), steps_(goal_state_steps(scenario)) {
    check_keys();
  }

  std::string play() {
    first_ = play_day(programs_, scenario_, std::nullopt, folder_ + "/without");
    std::string report = first_.report + check_steps(scenario_, first_);
    if (!report.empty()) {
      return "without a restart:\n" + report;
    }
    for (size_t step = 0; step < steps_.size(); ++step) {
      for (const bool after : {false, true}) {
        for (const Json &stop : part(scenario_, "restarts").at("stops")) {
          report += play_one({step, after, signal_of(stop)}, stop);
        }
      }
    }
    return report;
  }

 private:
  void check_keys() const {
    for (const auto &[key, value] : part(scenario_, "restarts").items()) {
      if (key != "stops" && key != "changes") {
        throw std::runtime_error("unknown key \"" + key + "\" in restarts");
      }
    }
    for (const Json &change : part(scenario_, "restarts").value("changes", Json::array())) {
      index_of(change.at("from"));
      if (change.contains("status") == change.contains("plugins") || !change.contains("why")) {
        throw std::runtime_error("a change of restarts has either \"status\" or \"plugins\", and \"why\": " +
                                 change.dump());
      }
    }
  }

  size_t index_of(const std::string &name) const {
    const auto found =
        std::find_if(steps_.begin(), steps_.end(), [&](const Json &step) { return step["name"] == name; });
    if (found == steps_.end()) {
      throw std::runtime_error("restarts: no step is named \"" + name + "\"");
    }
    return static_cast<size_t>(found - steps_.begin());
  }

  // Those of a kind that a restart at this place, or later than where they begin, brings.
  Changes changes_of(const Restart &restart, const char *kind) const {
    Changes out;
    for (const Json &change : part(scenario_, "restarts").value("changes", Json::array())) {
      const size_t from = index_of(change.at("from"));
      if (change.contains(kind) && (restart.step > from || (restart.step == from && restart.after))) {
        out.push_back(change);
      }
    }
    return out;
  }

  // To the byte where nothing changes; else with the changes, each of which there must be.
  static std::string compare(const std::string &first, const std::string &text, const Changes &changes,
                             const char *kind) {
    if (changes.empty()) {
      return first == text ? "" : "differs: " + json_mismatch(first, text, Members::kAll);
    }
    Json expected = Json::parse(first);
    const Json came = Json::parse(text, nullptr, false);
    for (const Json &change : changes) {
      const Json::json_pointer place(change[kind].get<std::string>());
      if (came.contains(place) && came[place] == expected.at(place)) {
        return "does not change any more: " + change.dump();
      }
      expected[place] = change.at("value");
    }
    return json_mismatch(expected.dump(), text, Members::kAll);
  }

  static std::string last_document(const Outcome &outcome) {
    return outcome.documents.empty() ? "" : outcome.documents.back()["text"].get<std::string>();
  }

  std::string play_one(const Restart &restart, const std::string &stop) {
    const std::string name = steps_[restart.step]["name"];
    const std::string place = (restart.after ? "after-" : "before-") + name + "-" + stop;
    const Outcome outcome = play_day(programs_, scenario_, restart, folder_ + "/" + place);
    std::string report = outcome.report;
    if (outcome.tables != first_.tables) {
      report += line("tables", json_mismatch(first_.tables.dump(), outcome.tables.dump(), Members::kAll));
    }
    report += line("status file",
                   compare(first_.plugin_status, outcome.plugin_status, changes_of(restart, "plugins"), "plugins"));
    report += line("last status document",
                   compare(last_document(first_), last_document(outcome), changes_of(restart, "status"), "status"));
    if (report.empty()) {
      std::filesystem::remove_all(folder_ + "/" + place);
      return "";
    }
    return "a restart (" + stop + ") " + (restart.after ? "after" : "before") + " step " + name + "'s pass:\n" + report;
  }

  const Programs &programs_;
  const Json &scenario_;
  std::string folder_;
  std::vector<Json> steps_;
  Outcome first_;
};

}  // namespace

std::string play_restarts(const Programs &programs, const Json &scenario, const std::string &folder) {
  return Matrix(programs, scenario, folder).play();
}

}  // namespace scenario
