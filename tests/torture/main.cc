// kelvane-torture: strikes a run of the agent at every place where it can be struck, and looks whether it comes
// through. 0: it always did; 1: it did not, or a strike did not fall where it was planned, and each such strike is told
// with its address, what happened, and how to play it again; 2: the torture could not be done.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>

#include "tests/torture/options.h"
#include "tests/torture/pairs.h"
#include "tests/torture/sample.h"
#include "tests/torture/state.h"
#include "tests/torture/table.h"

namespace {

namespace files = std::filesystem;

using torture::Bench;
using torture::Options;
using torture::State;
using torture::Strike;

constexpr size_t kTwiceEvery = 10;  // of the kills about one in so many is followed by another one

std::vector<std::string> protocols(const Options &options) {
  std::vector<std::string> out;
  for (const std::string name : {"wire", "metadata", "wire-restart", "metadata-restart"}) {
    const bool asked_for = options.only.find(name + "/") != std::string::npos;
    const bool is_restart = name.find('-') != std::string::npos;
    if (options.twice && is_restart) {
      continue;  // the second kill of a pair falls on a restart
    }
    if ((options.only.empty() || asked_for) && (options.protocol.empty() || options.protocol == name)) {
      out.push_back(name);
    }
  }
  return out;
}

// An address may be of any kind.
std::vector<Strike> all_strikes(const Options &options, const Bench &bench) {
  const bool any_kind = !options.only.empty();
  std::vector<Strike> out = strikes_of(bench.protocol(), bench.to_strike(), options.kill || any_kind);
  if (any_kind) {
    const std::vector<Strike> failures = strikes_of(bench.protocol(), bench.to_strike(), false);
    out.insert(out.end(), failures.begin(), failures.end());
  } else if (options.twice) {
    out = torture::twice(out, kTwiceEvery);
  }
  return out;
}

std::string work_folder(const std::string &artifacts) {
  if (!artifacts.empty()) {
    return files::absolute(artifacts).string();
  }
  std::string pattern = (files::temp_directory_path() / "kelvane-torture-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("cannot make a temporary folder");
  }
  return pattern;
}

// What is asked for by its address is always played; its line is kept from the state of the others.
std::string state_file(const Options &options, const std::string &folder) {
  if (!options.state.empty() && options.only.empty()) {
    return options.state;
  }
  files::remove(folder + "/state.jsonl");
  return folder + "/state.jsonl";
}

class Torture {
 public:
  explicit Torture(const Options &options)
      : options_(options),
        begin_(std::chrono::steady_clock::now()),
        folder_(work_folder(options.artifacts)),
        digest_(digest()),
        state_(state_file(options, folder_), digest_) {}
  ~Torture() {
    if (options_.artifacts.empty()) {
      std::error_code ignored;
      files::remove_all(folder_, ignored);
    }
  }

  int run() {
    plan();
    if (options_.list) {
      for (const Strike &strike : plan_) {
        std::printf("%-34s %s\n", strike.address().c_str(), strike.site.call.c_str());
      }
      return 0;
    }
    for (const Strike &strike : plan_) {
      if (!state_.survived(strike)) {
        rest_.push_back(strike);
      }
    }
    if (options_.workers <= 1) {
      work(0);
    } else {
      work_side_by_side();
    }
    state_.read();
    const int status = torture::sum_up(options_, plan_, state_);
    if (digest() != digest_) {
      throw std::runtime_error("the programs or the scenarios were changed meanwhile");
    }
    return broken_ ? 2 : status;
  }

 private:
  // Of the files as they are now.
  std::string digest() const {
    const torture::Programs &programs = options_.programs;
    return torture::digest_of({"/proc/self/exe", programs.sandbox, programs.fabric, programs.scenarios});
  }

  // All benches measure by the undisturbed run of the first one: it is what the plan is made of.
  Bench &bench(const std::string &protocol, size_t worker) {
    std::unique_ptr<Bench> &one = benches_[protocol];
    if (one == nullptr) {
      one = std::make_unique<Bench>(options_.programs, protocol, folder_ + "/" + protocol + std::to_string(worker));
      one->measure_by(measures_.emplace(protocol, one->undisturbed()).first->second);
    }
    return *one;
  }

  void plan() {
    for (const std::string &protocol : protocols(options_)) {
      const std::vector<Strike> some = all_strikes(options_, bench(protocol, 0));
      plan_.insert(plan_.end(), some.begin(), some.end());
    }
    plan_ = options_.wanted(plan_);
    if (options_.sample != 0) {
      plan_ = torture::sample(plan_, options_.sample, options_.seed);
    }
    if (plan_.empty()) {
      throw std::runtime_error("there is no such strike");
    }
  }

  bool time_is_up() const {
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin_;
    return passed.count() > options_.minutes * 60;
  }

  // Every so many-th strike.
  void work(size_t worker) {
    for (size_t i = worker; i < rest_.size() && !time_is_up(); i += options_.workers) {
      const Strike &strike = rest_[i];
      Bench &its_bench = bench(strike.protocol, worker);
      const std::string report = report_of(its_bench, strike);
      state_.write(strike, report, its_bench.missed(), its_bench.meant(), its_bench.second());
      tell(strike, report, its_bench.missed());
    }
  }

  // A play that cannot be judged has failed, too: what it left may be what cannot be looked at.
  static std::string report_of(Bench &bench, const Strike &strike) {
    try {
      return bench.play(strike);
    } catch (const std::exception &error) {
      return std::string("  it cannot be judged: ") + error.what() + "\n";
    }
  }

  static void tell(const Strike &strike, const std::string &report, const std::string &missed) {
    if (report.empty() && missed.empty()) {
      return;
    }
    std::printf("%s %s  %s\n%s", report.empty() ? "MISSED" : "FAILED", strike.address().c_str(),
                strike.site.call.c_str(), report.c_str());
    if (!missed.empty()) {
      std::printf("  the strike fell on %s\n", missed.c_str());
    }
    std::printf("  again: ./dev torture --only %s --artifacts DIR\n", strike.address().c_str());
    std::fflush(stdout);
  }

  void work_side_by_side() {
    benches_.clear();
    std::fflush(nullptr);
    std::vector<pid_t> workers;
    for (size_t worker = 0; worker < options_.workers; ++worker) {
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

  Options options_;
  std::chrono::steady_clock::time_point begin_;
  std::string folder_;
  std::string digest_;
  State state_;
  std::map<std::string, std::unique_ptr<Bench>> benches_;
  std::map<std::string, std::vector<torture::Site>> measures_;
  std::vector<Strike> plan_;
  std::vector<Strike> rest_;
  bool broken_ = false;
};

}  // namespace

int main(int argc, char **argv) {
  try {
    return Torture(torture::read_options(argc, argv)).run();
  } catch (const std::exception &error) {
    std::fprintf(stderr, "kelvane-torture: %s\n", error.what());
    return 2;
  }
}
