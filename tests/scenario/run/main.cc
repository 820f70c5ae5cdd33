// kelvane-scenario: plays one scenario file. A fresh appliance in a temporary folder, the fabric, the sandboxed agent
// once or several times, then what was expected against what came. 0: all fits; 1: something differs, and the report
// says what; 2: the scenario could not be played.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/scenario/run/checks.h"
#include "tests/scenario/run/cloud.h"
#include "tests/scenario/run/database_lock.h"
#include "tests/scenario/run/restarts.h"
#include "tests/support/files.h"
#include "tools/fabric/made_texts.h"
#include "tools/fabric/named_parts.h"

namespace {

namespace files = std::filesystem;

using scenario::Cloud;
using scenario::Json;
using scenario::RunResult;

constexpr int kRunLimitSeconds = 120;
constexpr int64_t kStartTime = 1700000000;

struct Settings {
  std::string file;
  std::string sandbox;
  std::string fabric;
  std::string kelvanectl;
  std::string artifacts;
  std::string key;  // a file: what the first start makes, the later ones take, as it costs more than all else they do
  bool keep = false;
};

std::string beside(const char *program, const char *name) {
  return (files::canonical("/proc/self/exe").parent_path() / program / name).string();
}

Settings read_arguments(int argc, char **argv) {
  Settings settings;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    const auto value = [&] {
      return i + 1 < argc ? std::string(argv[++i]) : throw std::runtime_error(argument + " needs a value");
    };
    if (argument == "--keep") {
      settings.keep = true;
    } else if (argument == "--artifacts") {
      settings.artifacts = files::absolute(value()).string();
    } else if (argument == "--sandbox") {
      settings.sandbox = value();
    } else if (argument == "--fabric") {
      settings.fabric = value();
    } else if (argument == "--kelvanectl") {
      settings.kelvanectl = value();
    } else if (argument[0] == '-' || !settings.file.empty()) {
      throw std::runtime_error(
          "usage: kelvane-scenario FILE.json [--keep] [--artifacts DIR] [--sandbox PROGRAM] [--fabric PROGRAM] "
          "[--kelvanectl PROGRAM]");
    } else {
      settings.file = files::absolute(argument).string();
    }
  }
  if (settings.file.empty()) {
    throw std::runtime_error("which scenario?");
  }
  settings.sandbox = settings.sandbox.empty() ? beside("../../../tools/sandbox", "kelvane-sandbox") : settings.sandbox;
  settings.fabric = settings.fabric.empty() ? beside("../../../tools/fabric", "kelvane-fabric") : settings.fabric;
  settings.kelvanectl =
      settings.kelvanectl.empty() ? beside("../../../tools/kelvanectl", "kelvanectl") : settings.kelvanectl;
  return settings;
}

void refuse_unknown(const Json &object, std::initializer_list<const char *> known, const std::string &where) {
  for (const auto &[key, value] : object.items()) {
    if (std::find(known.begin(), known.end(), key) == known.end()) {
      throw std::runtime_error("unknown key \"" + key + "\" in " + where);
    }
  }
}

// A scenario that says nothing of the agent: one run, up to the first extension pass.
const Json &runs_of(const Json &scenario) {
  static const Json kOneRun = Json::array({{{"stop_after", 30}}});
  return scenario.contains("agent") ? scenario["agent"] : kOneRun;
}

void check_keys(const Json &scenario) {
  refuse_unknown(
      scenario,
      {"name", "description", "fabric", "appliance", "agent", "expect", "steps", "questions", "secrets", "restarts"},
      "the scenario");
  refuse_unknown(scenario::part(scenario, "appliance"),
                 {"debug_level", "endpoint", "os_version", "accounts", "tables", "files", "media", "media_files"},
                 "appliance");
  for (const Json &run : runs_of(scenario)) {
    refuse_unknown(run,
                   {"name", "clock", "start_time", "stop_after", "script", "faults", "media", "media_mount_failures",
                    "debug_level", "arguments", "exit", "expect", "fresh", "fabric", "files", "media_files",
                    "database_locked", "file_size_limit", "no_proxy"},
                   "a run of agent");
    for (const auto &[key, value] : scenario::part(run, "expect").items()) {
      const bool of_fabric = run.contains("fabric") && scenario::is_cloud_expectation(key);
      if (!of_fabric && !scenario::is_run_expectation(key)) {
        throw std::runtime_error("unknown key \"" + key + "\" in the expectations of a run");
      }
    }
  }
}

// Plays the runs of one scenario in a folder of its own.
class Player {
 public:
  Player(const Settings &settings, const Json &scenario, std::string folder)
      : settings_(settings), scenario_(scenario), folder_(std::move(folder)) {}

  std::string play() {
    make_fresh_root();
    if (scenario_.contains("fabric")) {
      cloud_ = Cloud(settings_.fabric, settings_.file, folder_ + "/fabric");
    }
    const Json whole = appliance();
    for (const auto &[path, file] : scenario::part(whole, "media_files").items()) {
      scenario::place_file(media(), path, file);
    }
    std::string report;
    size_t number = 0;
    for (const Json &run : runs_of(scenario_)) {
      report += play_run(run, ++number);
    }
    const Json &expect = scenario::part(scenario_, "expect");
    report += scenario::check_files(scenario::part(expect, "files"), root());
    report += scenario::check_tables(expect.value("tables", Json::array()), root());
    return report + cloud_.verdict();
  }

 private:
  std::string root() const { return folder_ + "/root"; }
  // Without a part of its own: a factory appliance that has learned the fabric's address.
  Json appliance() const {
    if (scenario_.contains("appliance") || !scenario_.contains("fabric")) {
      return scenario::part(scenario_, "appliance");
    }
    return {{"endpoint", scenario_["fabric"].value("endpoint", "168.63.129.16")}};
  }
  void make_fresh_root() {
    files::remove_all(root());
    files::create_directories(root());
    scenario::make_appliance(root(), appliance());
  }
  bool has_media() const { return scenario_.contains("fabric") || appliance().contains("media_files"); }
  std::string media() const { return scenario_.contains("fabric") ? cloud_.media() : folder_ + "/media"; }

  // A fabric for this run alone: the scenario's with the run's changes, judged by the expectations of the run.
  std::unique_ptr<Cloud> cloud_of(const Json &run, const std::string &base) const {
    Json own = {{"name", run.value("name", "a run")}, {"fabric", scenario::part(scenario_, "fabric")}};
    own["fabric"].merge_patch(run["fabric"]);
    own["expect"] = Json::object();
    for (const auto &[key, value] : scenario::part(run, "expect").items()) {
      if (scenario::is_cloud_expectation(key)) {
        own["expect"][key == "telemetry" ? "events" : key] = value;
      }
    }
    std::ofstream(base + ".fabric.json") << own.dump();
    return std::make_unique<Cloud>(settings_.fabric, base + ".fabric.json", base + ".fabric");
  }

  void prepare(const Json &run) const {
    for (const auto &[path, file] : scenario::part(run, "files").items()) {
      scenario::place_file(root(), path, file);
    }
    for (const auto &[path, file] : scenario::part(run, "media_files").items()) {
      scenario::place_file(media(), path, file);
    }
  }

  // A run with a fabric of its own has it in the place of the scenario's, which waits meanwhile.
  std::string play_run(const Json &run, size_t number) {
    if (run.value("fresh", false)) {
      make_fresh_root();
    }
    if (!run.contains("fabric")) {
      return play_agent(run, number);
    }
    Cloud waiting = std::move(cloud_);
    cloud_ = std::move(*cloud_of(run, folder_ + "/run" + std::to_string(number)));
    std::string report = play_agent(run, number);
    const std::string verdict = cloud_.verdict();
    if (!verdict.empty()) {
      report += "run " + std::to_string(number) + " " + run.value("name", "") + ":\n" + verdict;
    }
    cloud_ = std::move(waiting);
    return report;
  }

  std::string play_agent(const Json &run, size_t number) {
    prepare(run);
    RunResult result;
    result.root = root();
    result.folder = files::path(settings_.file).parent_path().string();
    result.debug_level = run.value("debug_level", appliance().value("debug_level", int64_t{0}));
    if (run.contains("debug_level")) {
      scenario::set_debug_level(root(), result.debug_level);
    }
    const std::string base = folder_ + "/run" + std::to_string(number);
    result.kelvanectl = settings_.kelvanectl;
    result.base = base;
    {
      const scenario::DatabaseLock lock(run.value("database_locked", false) ? root() : "");
      scenario::Process agent(command(run, base), base + ".out", base + ".err");
      result.status = agent.wait(kRunLimitSeconds);
    }
    result.cloud = cloud_.artifacts();
    result.trace = scenario::split_lines(support::read_if_there(base + ".trace"));
    result.log = support::read_if_there(base + ".log");
    result.standard_output = support::read_if_there(base + ".out");
    result.standard_error = support::read_if_there(base + ".err");
    return report_of(run, result, number);
  }

  static std::string report_of(const Json &run, const RunResult &result, size_t number) {
    std::string report;
    const int expected = run.value("exit", 0);
    if (result.status != expected) {
      report += "  exit status " + std::to_string(result.status) + ", expected " + std::to_string(expected) + "\n" +
                result.standard_error;
    }
    report += scenario::check_run(scenario::part(run, "expect"), result);
    return report.empty() ? "" : "run " + std::to_string(number) + " " + run.value("name", "") + ":\n" + report;
  }

  // No file may grow beyond the limit, as on a full disk; what writes gets an error and no signal.
  static std::vector<std::string> limited(const Json &run) {
    if (!run.contains("file_size_limit")) {
      return {};
    }
    return {"/usr/bin/env", "--ignore-signal=XFSZ", "/usr/bin/prlimit", "--fsize=" + run["file_size_limit"].dump()};
  }

  std::vector<std::string> command(const Json &run, const std::string &base) const {
    std::vector<std::string> out = limited(run);
    out.insert(out.end(), {settings_.sandbox, "--root", root(), "--trace", base + ".trace", "--log", base + ".log",
                           "--proxy", cloud_.proxy(), "--clock", run.value("clock", "virtual"), "--start-time",
                           std::to_string(run.value("start_time", kStartTime)), "--key", settings_.key});
    const auto add = [&](const std::string &option, const std::string &value) {
      out.push_back(option);
      out.push_back(value);
    };
    if (has_media()) {
      add("--media", media());
      add("--media-type", run.value("media", appliance().value("media", "udf")));
      add("--media-mount-failures", std::to_string(run.value("media_mount_failures", 0)));
    }
    if (run.contains("no_proxy")) {
      add("--no-proxy", run["no_proxy"].get<std::string>());
    }
    if (run.contains("stop_after")) {
      add("--stop-after", run["stop_after"].dump());
    }
    if (run.contains("script")) {
      std::ofstream(base + ".script") << run["script"].dump();
      add("--script", base + ".script");
    }
    for (const Json &fault : run.value("faults", Json::array())) {
      add("--fault", fault.get<std::string>());
    }
    out.emplace_back("--");
    for (const Json &argument : run.value("arguments", Json::array())) {
      out.push_back(argument.get<std::string>());
    }
    return out;
  }

  const Settings &settings_;
  const Json &scenario_;
  std::string folder_;
  Cloud cloud_;
};

std::string work_folder(const Settings &settings) {
  if (!settings.artifacts.empty()) {
    files::remove_all(settings.artifacts + "/root");
    files::create_directories(settings.artifacts);
    return settings.artifacts;
  }
  std::string pattern = (files::temp_directory_path() / "kelvane-scenario-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("cannot make a temporary folder");
  }
  return pattern;
}

// The scenario once for each debug level of its list, or as it is.
std::vector<Json> at_each_level(const Json &scenario) {
  const Json levels = scenario::part(scenario, "appliance").value("debug_level", Json(0));
  if (!levels.is_array()) {
    return {scenario};
  }
  std::vector<Json> out;
  for (const Json &level : levels) {
    out.push_back(scenario);
    out.back()["appliance"]["debug_level"] = level;
  }
  return out;
}

std::string play_at_each_level(const Settings &settings, const Json &scenario, const std::string &folder) {
  const std::vector<Json> all = at_each_level(scenario);
  if (all.size() == 1) {
    return Player(settings, all.front(), folder).play();
  }
  std::string report;
  for (const Json &one : all) {
    const std::string level = one["appliance"]["debug_level"].dump();
    files::create_directories(folder + "/level" + level);
    const std::string own = Player(settings, one, folder + "/level" + level).play();
    report += own.empty() ? "" : "at debug level " + level + ":\n" + own;
  }
  return report;
}

int run(Settings settings) {
  const Json written = Json::parse(support::read_file(settings.file), nullptr, true, true);
  const Json scenario = kelvane::fabric::with_made_texts(kelvane::fabric::with_named_parts(written));
  check_keys(scenario);
  const std::string folder = work_folder(settings);
  settings.key = folder + "/key";
  const scenario::Programs programs = {settings.sandbox, settings.fabric, settings.key};
  const std::string report = scenario.contains("steps") ? scenario::play_restarts(programs, scenario, folder)
                                                        : play_at_each_level(settings, scenario, folder);
  const bool kept = settings.keep || !settings.artifacts.empty();
  if (!report.empty()) {
    std::printf("FAILED %s\n%s", scenario.value("name", settings.file).c_str(), report.c_str());
  }
  if (kept) {
    std::printf("kept in %s\n", folder.c_str());
  } else {
    files::remove_all(folder);
  }
  return report.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
  try {
    return run(read_arguments(argc, argv));
  } catch (const std::exception &error) {
    std::fprintf(stderr, "kelvane-scenario: %s\n", error.what());
    return 2;
  }
}
