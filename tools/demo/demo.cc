#include "tools/demo/demo.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "tools/demo/timeline.h"

namespace demo {
namespace {

constexpr int kPortTries = 400;
constexpr long kPollMilliseconds = 50;
// How often the agent looks for the endpoint in vain before the demo's DHCP client has it.
constexpr int kEmptyLooks = 2;

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

void Demo::make_factory_state() {
  kelvanectl({"debug", "level", std::to_string(options_.debug_level)});
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
  headline("          the DHCP client's part: endpoint " + endpoint + " stored in port1", colour_);
}

void Demo::watch() {
  Follower trace(options_.out / "trace.txt");
  int empty_looks = 0;
  int64_t second = 0;
  for (bool running = true; running && (!options_.keep || second < options_.seconds);) {
    check_interrupted();
    running = agent_->running();
    for (const std::string &line : trace.lines()) {
      second = std::max(second, second_of(line));
      const std::optional<Entry> entry = tell(line);
      if (entry) {
        print(*entry, colour_);
      }
      if (line.find("log AzureEndpoint = 0\\n") != std::string::npos && ++empty_looks == kEmptyLooks) {
        store_endpoint();
      }
    }
    pause_milliseconds(kPollMilliseconds);
  }
  if (!agent_->running() && (options_.keep || agent_->status() != 0)) {
    throw std::runtime_error("the agent ended with status " + std::to_string(agent_->status()) + " after " +
                             std::to_string(second) + " of its seconds:\n" + tail_of(options_.out / "sandbox.log"));
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
