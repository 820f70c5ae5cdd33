#include "tools/demo/demo.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <fstream>
#include <stdexcept>

#include "tools/demo/files.h"
#include "tools/demo/journal.h"
#include "tools/demo/output.h"
#include "tools/demo/step.h"

namespace demo {
namespace {

constexpr int kPortTries = 2400;
constexpr long kPollMilliseconds = 50;
// How often the agent looks for the endpoint in vain before the demo's DHCP client has it.
constexpr int kEmptyLooks = 1;
constexpr const char *kCertificatesCommand = "2";
constexpr int kReportTries = 20;

volatile std::sig_atomic_t interrupted = 0;

void check_interrupted() {
  if (interrupted != 0) {
    throw std::runtime_error("interrupted");
  }
}

std::string tail_of(const std::filesystem::path &file) {
  const std::string text = contents(file);
  return text.size() > 2000 ? text.substr(text.size() - 2000) : text;
}

std::string endpoint_of(const std::filesystem::path &scenario) {
  return read_scenario(scenario).value("fabric", Json::object()).value("endpoint", "168.63.129.16");
}

}  // namespace

void Demo::interrupt() {
  interrupted = 1;
}

Demo::Demo(Options options) : options_(std::move(options)), start_time_(std::time(nullptr)) {
  options_.out = std::filesystem::absolute(options_.out);
  options_.build = std::filesystem::absolute(options_.build);
  std::filesystem::remove_all(options_.out);
  std::filesystem::create_directories(root());
}

std::string Demo::program(const std::string &name) const {
  const std::string folder = name == "kelvane-fabric" ? "fabric" : name == "kelvane-sandbox" ? "sandbox" : "kelvanectl";
  return options_.build / "tools" / folder / name;
}

std::string Demo::kelvanectl(const std::vector<std::string> &arguments) const {
  std::vector<std::string> argv = {program("kelvanectl"), "--root", root()};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  std::string output;
  const int status = run_program(argv, &output);
  if (status != 0) {
    throw std::runtime_error("kelvanectl " + arguments[0] + " ended with status " + std::to_string(status) + ": " +
                             output);
  }
  return output;
}

void Demo::start_fabric() {
  const std::filesystem::path port_file = options_.out / "port";
  fabric_ = std::make_unique<Process>(
      std::vector<std::string>{program("kelvane-fabric"), "--scenario", options_.scenario, "--port-file", port_file,
                               "--journal", journal(), "--artifacts", options_.out},
      options_.out / "fabric.log");
  for (int i = 0; i < kPortTries && fabric_->running(); ++i) {
    check_interrupted();
    std::ifstream stream(port_file);
    if (stream >> port_ && port_ != 0) {
      return;
    }
    pause_milliseconds(kPollMilliseconds);
  }
  throw std::runtime_error("the fabric did not come up:\n" + tail_of(options_.out / "fabric.log"));
}

// A new appliance, whose SSH daemon has made its host key already.
void Demo::make_factory_state() {
  kelvanectl({"debug", "level", std::to_string(options_.debug_level)});
  factory_accounts_ = kelvanectl({"--json", "account", "list"});
  std::filesystem::create_directories(root() / "data/etc/ssh");
  std::ofstream(root() / "data/etc/ssh/ssh_host_rsa_key.pub.fp") << fingerprint();
}

// Each start has a log and a trace of its own, and the clock goes on where it was.
void Demo::start_agent() {
  const std::string number = logs_.empty() ? "" : "-" + std::to_string(logs_.size() + 1);
  logs_.push_back(options_.out / ("agent" + number + ".log"));
  traces_.push_back(options_.out / ("trace" + number + ".txt"));
  second_of_start_ = second_;
  trace_ = std::make_unique<Follower>(traces_.back());
  agent_ = std::make_unique<Process>(
      std::vector<std::string>{program("kelvane-sandbox"), "--root", root(), "--media", options_.out / "media",
                               "--clock", "scaled:" + std::to_string(options_.speed), "--start-time",
                               std::to_string(start_time_ + second_), "--proxy",
                               "http://127.0.0.1:" + std::to_string(port_), "--log", logs_.back(), "--trace",
                               traces_.back(), "--trace-times"},
      options_.out / ("sandbox" + number + ".log"));
}

void Demo::restart_agent(int signal) {
  print({second_, Look::kMachine, std::string("the agent is ended by SIG") + (signal == SIGKILL ? "KILL" : "TERM")});
  agent_->end_by(signal);
  tell_new_lines();
  start_agent();
  print({second_, Look::kMachine, "(the supervisor's part, played by the demo) the agent is started again"});
}

std::vector<std::filesystem::path> Demo::logs_and_traces() const {
  std::vector<std::filesystem::path> all = logs_;
  all.insert(all.end(), traces_.begin(), traces_.end());
  return all;
}

// Without a wire server there is nothing to store, and the agent looks on in vain.
void Demo::store_endpoint() {
  const std::string endpoint = endpoint_of(options_.scenario);
  if (endpoint.empty()) {
    print({second_, Look::kMachine, "(the DHCP client's part, played by the demo) the lease holds no endpoint"});
    return;
  }
  kelvanectl({"endpoint", "set", endpoint});
  print({second_, Look::kMachine, "(the DHCP client's part, played by the demo) endpoint " + endpoint + " into port1"});
}

// The journal's line may come a moment after the agent's.
void Demo::tell_report(int64_t second) {
  ++reports_;
  for (int i = 0; i < kReportTries; ++i) {
    const std::vector<std::string> all = reports(journal());
    if (all.size() >= reports_) {
      print({second, Look::kReports, all[reports_ - 1]});
      return;
    }
    pause_milliseconds(kPollMilliseconds);
  }
}

void Demo::dump_certificates() {
  say("The agent is asked for its certificate store: kelvanectl command 2", Look::kBold);
  try {
    kelvanectl({"command", kCertificatesCommand});
  } catch (const std::runtime_error &error) {
    print({second_, Look::kLogs, error.what()});
  }
}

void Demo::tell_line(const std::string &line) {
  const int64_t second = second_of_start_ + std::max<int64_t>(second_of(line), 0);
  second_ = std::max(second_, second);
  const char *heading = heading_of(line);
  if (heading != nullptr && headings_.insert(heading).second) {
    say(heading, Look::kBold);
  }
  // The dump shows private keys as well; they stay in the log file.
  std::optional<Entry> entry = line.find("-----BEGIN ") != std::string::npos ? std::nullopt : tell(line);
  if (entry) {
    entry->second = second;
    print(*entry);
  }
  if (is_report(line)) {
    tell_report(second);
  }
  if (line.find("log AzureEndpoint = 0\\n") != std::string::npos && ++empty_looks_ == kEmptyLooks) {
    store_endpoint();
  }
}

void Demo::tell_new_lines() {
  for (const std::string &line : trace_->lines()) {
    tell_line(line);
  }
}

void Demo::agent_is_gone() {
  throw std::runtime_error("the agent ended with status " + std::to_string(agent_->status()) + " after " +
                           std::to_string(second_) + " of its seconds:\n" + tail_of(options_.out / "sandbox.log"));
}

void Demo::watch(const std::function<bool()> &done) {
  for (;;) {
    check_interrupted();
    const bool running = agent_->running();
    const bool enough = done();
    tell_new_lines();
    if (enough) {
      return;
    }
    if (!running) {
      agent_is_gone();
    }
    pause_milliseconds(kPollMilliseconds);
  }
}

void Demo::start() {
  start_fabric();
  make_factory_state();
  start_agent();
}

}  // namespace demo
