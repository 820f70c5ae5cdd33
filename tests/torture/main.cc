// kelvane-torture: strikes a run of the agent at every place where it can be struck, and looks whether it comes
// through. 0: it always did; 1: it did not, and each such strike is told with its address, what happened, and how to
// play it again; 2: the torture could not be done.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>

#include "tests/torture/bench.h"

namespace {

namespace files = std::filesystem;

using torture::Bench;
using torture::Json;
using torture::Strike;

constexpr char kHelp[] =
    "usage: kelvane-torture [options]\n"
    "  --kill             kill the agent, or take its power, instead of letting calls fail\n"
    "  --twice            the same, and kill the start that follows, too\n"
    "  --protocol NAME    only wire, or only metadata\n"
    "  --class NAMES      only these, with commas between: memory, file, bytes, system, platform, request, database\n"
    "  --blow NAMES       only these blows, as they stand at the end of an address\n"
    "  --from N, --to N   only these numbers of sites\n"
    "  --sample N         so many strikes, evenly from all classes and blows; --seed N for others (1)\n"
    "  --only ADDRESS     one strike, its files kept in the --artifacts folder\n"
    "  --state FILE       leaves out what the file says was survived; receives a line of JSON a strike\n"
    "  --minutes N        begin no strike after so long\n"
    "  --workers N        processes side by side (1)\n"
    "  --list             print the addresses and what stands at each, and end\n"
    "  --artifacts DIR    the folder for everything (a temporary one)\n"
    "  --sandbox PROGRAM, --fabric PROGRAM, --scenarios DIR\n";

constexpr size_t kTwiceEvery = 10;  // of the kills one in so many is followed by another one

struct Settings {
  torture::Programs programs;
  bool kill = false, twice = false, list = false;
  std::string protocol, classes, blows, only, state, artifacts;
  size_t from = 1, to = static_cast<size_t>(-1), sample = 0, workers = 1;
  unsigned seed = 1;
  double minutes = 1e9;
};

std::string beside(const char *name) {
  return (files::canonical("/proc/self/exe").parent_path() / name).string();
}

size_t number(const std::string &text) {
  return static_cast<size_t>(std::stoul(text));
}

// False for an option that there is not.
bool take(Settings &settings, const std::string &option, const std::string &value) {
  const std::map<std::string, std::string *> texts = {{"--protocol", &settings.protocol},
                                                      {"--class", &settings.classes},
                                                      {"--blow", &settings.blows},
                                                      {"--only", &settings.only},
                                                      {"--state", &settings.state},
                                                      {"--artifacts", &settings.artifacts},
                                                      {"--sandbox", &settings.programs.sandbox},
                                                      {"--fabric", &settings.programs.fabric},
                                                      {"--scenarios", &settings.programs.scenarios}};
  const std::map<std::string, size_t *> numbers = {{"--from", &settings.from},
                                                   {"--to", &settings.to},
                                                   {"--sample", &settings.sample},
                                                   {"--workers", &settings.workers}};
  if (texts.count(option) != 0) {
    *texts.at(option) = value;
  } else if (numbers.count(option) != 0) {
    *numbers.at(option) = number(value);
  } else if (option == "--seed") {
    settings.seed = static_cast<unsigned>(number(value));
  } else if (option == "--minutes") {
    settings.minutes = std::stod(value);
  } else {
    return false;
  }
  return true;
}

Settings read_arguments(int argc, char **argv) {
  Settings settings;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "--kill" || option == "--list") {
      (option == "--kill" ? settings.kill : settings.list) = true;
    } else if (option == "--twice") {
      settings.kill = settings.twice = true;
    } else if (i + 1 == argc || !take(settings, option, argv[i + 1])) {
      throw std::runtime_error(kHelp);
    } else {
      ++i;
    }
  }
  torture::Programs &programs = settings.programs;
  programs.sandbox = programs.sandbox.empty() ? beside("../../tools/sandbox/kelvane-sandbox") : programs.sandbox;
  programs.fabric = programs.fabric.empty() ? beside("../../tools/fabric/kelvane-fabric") : programs.fabric;
  programs.scenarios =
      programs.scenarios.empty() ? (files::current_path() / "tests/torture").string() : programs.scenarios;
  return settings;
}

// ---- which strikes -------------------------------------------------------------------------------

bool listed(const std::string &list, const std::string &name) {
  return list.empty() || ("," + list + ",").find("," + name + ",") != std::string::npos;
}

std::vector<std::string> protocols(const Settings &settings) {
  if (!settings.only.empty()) {
    return {settings.only.substr(0, settings.only.find('/'))};
  }
  return settings.protocol.empty() ? std::vector<std::string>{"wire", "metadata"}
                                   : std::vector<std::string>{settings.protocol};
}

bool wanted(const Settings &settings, const Strike &strike) {
  if (!settings.only.empty()) {
    return strike.address() == settings.only;
  }
  return listed(settings.classes, strike.site.call_class) && listed(settings.blows, strike.blow) &&
         strike.site.number >= settings.from && strike.site.number <= settings.to;
}

// A struck process may be the one of a failure or of a kill; an address says it by its blow.
std::vector<Strike> all_strikes(const Settings &settings, const Bench &bench) {
  if (settings.twice || settings.only.find('@') != std::string::npos) {
    return torture::twice(strikes_of(bench.protocol(), bench.sites(), true), kTwiceEvery);
  }
  std::vector<Strike> out = strikes_of(bench.protocol(), bench.sites(), settings.kill);
  if (!settings.only.empty()) {
    const std::vector<Strike> more = strikes_of(bench.protocol(), bench.sites(), !settings.kill);
    out.insert(out.end(), more.begin(), more.end());
  }
  return out;
}

std::vector<Strike> chosen(const Settings &settings, const Bench &bench) {
  std::vector<Strike> out;
  for (const Strike &strike : all_strikes(settings, bench)) {
    if (wanted(settings, strike)) {
      out.push_back(strike);
    }
  }
  return out;
}

// ---- what was done already -----------------------------------------------------------------------

using Done = std::map<std::string, Json>;  // by address

Done read_state(const std::string &file) {
  Done done;
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);) {
    const Json entry = Json::parse(line, nullptr, false);
    if (entry.is_object()) {
      done[entry["address"].get<std::string>()] = entry;
    }
  }
  return done;
}

// One line, in one piece: several processes write to the file.
void write_state(const std::string &file, const Strike &strike, const std::string &report, const Json &meant) {
  const Json entry = {{"address", strike.address()}, {"call", strike.site.call}, {"report", report}, {"meant", meant}};
  const std::string line = entry.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
  const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (descriptor < 0 || write(descriptor, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    throw std::runtime_error("cannot write " + file);
  }
  close(descriptor);
}

// What the agent calls at a number may be another thing than when the state was written.
bool done_already(const Done &done, const Strike &strike) {
  const auto found = done.find(strike.address());
  return found != done.end() && found->second["call"] == strike.site.call;
}

// What the agent did not come through is played again.
bool survived_already(const Done &done, const Strike &strike) {
  return done_already(done, strike) && done.at(strike.address())["report"] == "";
}

// Survived, with a difference that is meant to be.
bool differs_as_meant(const Done &done, const Strike &strike) {
  return !done.at(strike.address()).value("meant", Json::object()).empty();
}

// ---- the work -----------------------------------------------------------------------------------------------------

class Torture {
 public:
  explicit Torture(const Settings &settings)
      : settings_(settings), begin_(std::chrono::steady_clock::now()), folder_(work_folder()) {
    if (settings_.state.empty()) {
      settings_.state = folder_ + "/state.jsonl";
    }
  }
  ~Torture() {
    if (settings_.artifacts.empty()) {
      std::error_code ignored;
      files::remove_all(folder_, ignored);
    }
  }

  int run() {
    plan();
    if (settings_.list) {
      for (const Strike &strike : plan_) {
        std::printf("%-34s %s\n", strike.address().c_str(), strike.site.call.c_str());
      }
      return 0;
    }
    const Done before = read_state(settings_.state);
    for (const Strike &strike : plan_) {
      if (!survived_already(before, strike)) {
        rest_.push_back(strike);
      }
    }
    if (settings_.workers <= 1) {
      work(0);
    } else {
      work_side_by_side();
    }
    return sum_up();
  }

 private:
  std::string work_folder() const {
    if (!settings_.artifacts.empty()) {
      return files::absolute(settings_.artifacts).string();
    }
    std::string pattern = (files::temp_directory_path() / "kelvane-torture-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("cannot make a temporary folder");
    }
    return pattern;
  }

  Bench &bench(const std::string &protocol, size_t worker) {
    std::unique_ptr<Bench> &one = benches_[protocol];
    if (one == nullptr) {
      one = std::make_unique<Bench>(settings_.programs, protocol, folder_ + "/" + protocol + std::to_string(worker));
    }
    return *one;
  }

  void plan() {
    for (const std::string &protocol : protocols(settings_)) {
      const Bench &one = bench(protocol, 0);
      const std::vector<Strike> strikes = chosen(settings_, one);
      sites_ += one.sites().size();
      plan_.insert(plan_.end(), strikes.begin(), strikes.end());
    }
    if (settings_.sample != 0) {
      plan_ = torture::sample(plan_, settings_.sample, settings_.seed);
    }
    if (plan_.empty()) {
      throw std::runtime_error("there is no such strike");
    }
  }

  bool time_is_up() const {
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin_;
    return passed.count() > settings_.minutes * 60;
  }

  // Every so many-th strike.
  void work(size_t worker) {
    for (size_t i = worker; i < rest_.size() && !time_is_up(); i += settings_.workers) {
      const Strike &strike = rest_[i];
      Bench &its_bench = bench(strike.protocol, worker);
      const std::string report = its_bench.play(strike);
      write_state(settings_.state, strike, report, its_bench.meant());
      if (!report.empty()) {
        std::printf("FAILED %s  %s\n%s", strike.address().c_str(), strike.site.call.c_str(), report.c_str());
        std::printf("  again: ./dev torture --only %s --artifacts DIR\n", strike.address().c_str());
        std::fflush(stdout);
      }
    }
  }

  void work_side_by_side() {
    benches_.clear();
    std::fflush(nullptr);
    std::vector<pid_t> workers;
    for (size_t worker = 0; worker < settings_.workers; ++worker) {
      const pid_t pid = fork();
      if (pid == 0) {
        int status = 0;
        try {
          work(worker);
          benches_.clear();
        } catch (const std::exception &error) {
          std::fprintf(stderr, "kelvane-torture: %s\n", error.what());
          status = 2;
        }
        std::fflush(nullptr);
        _exit(status);
      }
      workers.push_back(pid);
    }
    for (const pid_t pid : workers) {
      int status = 0;
      const bool fine = pid > 0 && waitpid(pid, &status, 0) == pid && status == 0;
      broken_ = broken_ || !fine;
    }
  }

  int sum_up() const {
    struct Count {
      std::set<std::string> sites;
      size_t planned = 0, runs = 0, survived = 0, meant = 0;
    };
    std::map<std::string, Count> counts;
    const Done done = read_state(settings_.state);
    for (const Strike &strike : plan_) {
      const bool played = done_already(done, strike);
      const bool survived = survived_already(done, strike);
      for (const std::string &name : {strike.protocol + " " + strike.site.call_class, std::string("all")}) {
        Count &count = counts[name];
        count.sites.insert(strike.protocol + strike.site.call_class + std::to_string(strike.site.number));
        count.planned += 1;
        count.runs += played ? 1 : 0;
        count.survived += survived ? 1 : 0;
        count.meant += survived && differs_as_meant(done, strike) ? 1 : 0;
      }
    }
    std::printf("%-20s %8s %8s %8s %8s %8s\n", settings_.kill ? "kills" : "failures", "sites", "planned", "runs",
                "survived", "meant");
    for (const auto &[name, count] : counts) {
      std::printf("%-20s %8zu %8zu %8zu %8zu %8zu\n", name.c_str(), count.sites.size(), count.planned, count.runs,
                  count.survived, count.meant);
    }
    const Count &all = counts["all"];
    return broken_ ? 2 : all.runs == all.survived ? 0 : 1;
  }

  Settings settings_;
  std::chrono::steady_clock::time_point begin_;
  std::string folder_;
  std::map<std::string, std::unique_ptr<Bench>> benches_;
  std::vector<Strike> plan_;
  std::vector<Strike> rest_;
  size_t sites_ = 0;
  bool broken_ = false;
};

}  // namespace

int main(int argc, char **argv) {
  try {
    return Torture(read_arguments(argc, argv)).run();
  } catch (const std::exception &error) {
    std::fprintf(stderr, "kelvane-torture: %s\n", error.what());
    return 2;
  }
}
