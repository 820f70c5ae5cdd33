#include "tools/demo/demo.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "tools/demo/journal.h"
#include "tools/demo/timeline.h"

namespace demo {
namespace {

constexpr int kPortTries = 400;
constexpr long kPollMilliseconds = 50;
// How often the agent looks for the endpoint in vain before the demo's DHCP client has it.
constexpr int kEmptyLooks = 2;
// When the agent is asked for its certificate store: after the first extension pass.
constexpr int64_t kDumpSecond = 50;
constexpr const char *kCertificatesCommand = "2";
constexpr int kReportTries = 20;

volatile std::sig_atomic_t interrupted = 0;

void check_interrupted() {
  if (interrupted != 0) {
    throw std::runtime_error("interrupted");
  }
}

std::string tail_of(const std::filesystem::path &file) {
  std::ifstream stream(file);
  std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
  return text.size() > 2000 ? text.substr(text.size() - 2000) : text;
}

std::string endpoint_of(const std::filesystem::path &scenario) {
  std::ifstream stream(scenario);
  const nlohmann::json document = nlohmann::json::parse(stream, nullptr, true, true);
  return document.value("fabric", nlohmann::json::object()).value("endpoint", "168.63.129.16");
}

void headline(const std::string &text, bool colour) {
  std::printf("%s%s%s\n", colour ? "\033[1m" : "", text.c_str(), colour ? "\033[0m" : "");
  std::fflush(stdout);
}

}  // namespace

void Demo::interrupt() {
  interrupted = 1;
}

Demo::Demo(Options options) : options_(std::move(options)), colour_(isatty(STDOUT_FILENO) != 0) {
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

void Demo::start_agent() {
  std::vector<std::string> argv = {program("kelvane-sandbox"),
                                   "--root",
                                   root(),
                                   "--media",
                                   options_.out / "media",
                                   "--clock",
                                   "scaled:" + std::to_string(options_.speed),
                                   "--proxy",
                                   "http://127.0.0.1:" + std::to_string(port_),
                                   "--log",
                                   options_.out / "agent.log",
                                   "--trace",
                                   options_.out / "trace.txt",
                                   "--trace-times"};
  if (!options_.keep) {
    argv.insert(argv.end(), {"--stop-after", std::to_string(options_.seconds)});
  }
  agent_ = std::make_unique<Process>(argv, options_.out / "sandbox.log");
}

void Demo::store_endpoint() {
  const std::string endpoint = endpoint_of(options_.scenario);
  kelvanectl({"endpoint", "set", endpoint});
  print({second_, Kind::kMachine, "(the DHCP client's part, played by the demo) endpoint " + endpoint + " into port1"},
        colour_);
}

// The journal's line may come a moment after the agent's.
void Demo::tell_report(int64_t second) {
  ++reports_;
  for (int i = 0; i < kReportTries; ++i) {
    const std::vector<std::string> all = reports(journal());
    if (all.size() >= reports_) {
      print({second, Kind::kReports, all[reports_ - 1]}, colour_);
      return;
    }
    pause_milliseconds(kPollMilliseconds);
  }
}

// Into the log, from where the report takes it. An agent that is busy with a request does not answer in time.
void Demo::dump_certificates() {
  dumped_ = true;
  headline("The agent is asked for its certificate store: kelvanectl command 2", colour_);
  try {
    kelvanectl({"command", kCertificatesCommand});
  } catch (const std::runtime_error &error) {
    print({second_, Kind::kLogs, error.what()}, colour_);
  }
}

void Demo::tell_line(const std::string &line) {
  second_ = std::max(second_, second_of(line));
  const char *heading = heading_of(line);
  if (heading != nullptr && headings_.insert(heading).second) {
    headline(heading, colour_);
  }
  // The dump shows private keys as well; they stay in the log file.
  const std::optional<Entry> entry = line.find("-----BEGIN ") != std::string::npos ? std::nullopt : tell(line);
  if (entry) {
    print(*entry, colour_);
  }
  if (is_report(line)) {
    tell_report(second_of(line));
  }
  if (line.find("log AzureEndpoint = 0\\n") != std::string::npos && ++empty_looks_ == kEmptyLooks) {
    store_endpoint();
  }
}

void Demo::watch() {
  Follower trace(options_.out / "trace.txt");
  for (bool running = true; running && (!options_.keep || second_ < options_.seconds);) {
    check_interrupted();
    running = agent_->running();
    for (const std::string &line : trace.lines()) {
      tell_line(line);
    }
    if (running && !dumped_ && second_ >= kDumpSecond) {
      dump_certificates();
    }
    pause_milliseconds(kPollMilliseconds);
  }
  if (!agent_->running() && (options_.keep || agent_->status() != 0)) {
    throw std::runtime_error("the agent ended with status " + std::to_string(agent_->status()) + " after " +
                             std::to_string(second_) + " of its seconds:\n" + tail_of(options_.out / "sandbox.log"));
  }
}

void Demo::play() {
  headline("a first boot, " + std::to_string(options_.speed) + " agent seconds in a second; scenario " +
               options_.scenario.filename().string(),
           colour_);
  start_fabric();
  make_factory_state();
  start_agent();
  watch();
}

}  // namespace demo
