#include "tests/scenario/run/day.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/scenario/run/cloud.h"
#include "tests/scenario/run/process.h"
#include "tests/scenario/run/tables.h"
#include "tests/support/files.h"

namespace scenario {
namespace {

namespace files = std::filesystem;

constexpr int64_t kStartTime = 1700000000;
constexpr int64_t kPass = 25;  // seconds between two extension passes
constexpr int64_t kStep = 2 * kPass;
constexpr int kLimitSeconds = 300;
// Within the sleep after a pass: the next goal state is there, and then the agent may end.
constexpr double kAdvance = 0.3;
constexpr double kEnd = 0.6;

// ---- the play ------------------------------------------------------------------------------------------------------

class Day {
 public:
  Day(const Programs &programs, const Json &scenario, std::string folder)
      : programs_(programs),
        scenario_(scenario),
        folder_(std::move(folder)),
        steps_(goal_state_steps(scenario).size()) {
    files::create_directories(root());
    make_appliance(root(), {{"endpoint", scenario["fabric"].value("endpoint", "168.63.129.16")}});
    std::ofstream(folder_ + "/fabric.json") << Json({{"fabric", scenario["fabric"]}}).dump();
    cloud_ = Cloud(programs.fabric, folder_ + "/fabric.json", folder_ + "/fabric");
  }

  Outcome play(const std::optional<Restart> &restart) {
    int64_t begin = 0;
    if (restart) {
      begin = static_cast<int64_t>(restart->step) * kStep + (restart->after ? kPass : 0);
      run(0, static_cast<double>(begin) + kEnd, restart->signal);
    }
    run(begin, static_cast<double>(end()), 0);
    Outcome outcome;
    outcome.documents = Json::parse(cloud_.ask("/_fabric/status"));
    outcome.tables = tables_in_words(root(), scenario_);
    outcome.plugin_status = support::read_if_there(root() + "/data/etc/.plugin_status");
    outcome.report = report_ + cloud_.verdict();
    return outcome;
  }

 private:
  std::string root() const { return folder_ + "/root"; }
  // Behind the last pass.
  int64_t end() const { return static_cast<int64_t>(steps_) * kStep + 1; }

  // What happens between two times of the day, told in the seconds of an agent that is started at the first.
  Json script(int64_t begin, double until, int signal) const {
    Json out = Json::array();
    for (size_t step = 1; step < steps_; ++step) {
      const double at = static_cast<double>(step * kStep) + kAdvance;
      // One that is started at this very second finds the goal state there already.
      if (at > static_cast<double>(begin) + (begin != 0 ? kEnd : 0) && at < until) {
        out.push_back({{"at", at - static_cast<double>(begin)}, {"url", "/_fabric/advance"}});
      }
    }
    if (signal != 0) {
      out.push_back({{"at", until - static_cast<double>(begin)}, {"kill", signal}});
    }
    return out;
  }

  void run(int64_t begin, double until, int signal) {
    const std::string base = folder_ + "/run" + std::to_string(++runs_);
    std::ofstream(base + ".script") << script(begin, until, signal).dump();
    std::vector<std::string> command = {
        programs_.sandbox, "--root",         root(),    "--trace",      base + ".trace",
        "--log",           base + ".log",    "--proxy", cloud_.proxy(), "--media",
        cloud_.media(),    "--clock",        "virtual", "--start-time", std::to_string(kStartTime + begin),
        "--script",        base + ".script", "--key",   programs_.key,  "--trace-times"};
    if (signal == 0) {
      command.insert(command.end(), {"--stop-after", std::to_string(end() - begin)});
    }
    Process agent(command, base + ".out", base + ".err");
    const int expected = signal == 0 ? 0 : 128 + signal, status = agent.wait(kLimitSeconds);
    if (status != expected) {
      report_ += "  exit status " + std::to_string(status) + ", expected " + std::to_string(expected) + "\n" +
                 support::read_if_there(base + ".err");
    }
  }

  const Programs &programs_;
  const Json &scenario_;
  std::string folder_;
  size_t steps_;
  size_t runs_ = 0;
  Cloud cloud_;
  std::string report_;
};

}  // namespace

std::vector<Json> goal_state_steps(const Json &scenario) {
  std::vector<Json> steps;
  for (const Json &step : scenario.at("steps")) {
    if (!step.contains("restart")) {
      steps.push_back(step);
    }
  }
  return steps;
}

Outcome play_day(const Programs &programs, const Json &scenario, const std::optional<Restart> &restart,
                 const std::string &folder) {
  files::remove_all(folder);
  return Day(programs, scenario, folder).play(restart);
}

}  // namespace scenario
