// kelvane-fabric: plays the cloud for an agent under test. This file is the wiring: options in, scenario, media,
// server, verdict out.
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "tools/fabric/artifacts.h"
#include "tools/fabric/server.h"

namespace {

using namespace kelvane::fabric;

constexpr int kExitFailed = 1;  // an expectation failed
constexpr int kExitUsage = 2;   // the command line, the scenario or the surroundings

constexpr char kHelp[] =
    "kelvane-fabric: the cloud in small, for agents under test\n"
    "  --scenario FILE           what to play (default: one certificate, one goal state)\n"
    "  --check                   read the scenario, say whether it is good, and end\n"
    "  --listen ADDRESS          numeric IPv4 address (default 127.0.0.1)\n"
    "  --port N                  0 (the default) takes any free port\n"
    "  --port-file FILE          receives the port and a line end\n"
    "  --control-port N          a second port for control requests alone; 0 takes any\n"
    "  --control-port-file FILE  receives that port and a line end\n"
    "  --journal FILE            receives every request and answer as a line of JSON\n"
    "  --artifacts DIR           receives the provisioning media and the tenant's certificates\n"
    "  --debug-keys              the artifacts include the tenant's private keys\n"
    "The exit status is 0 when every expectation held, 1 when one failed, 2 when it could not start.\n";

struct Options {
  std::string scenario, listen = "127.0.0.1", port = "0", port_file, control_port, control_port_file, journal,
                        artifacts;
  bool check = false, debug_keys = false, help = false;
};

struct TextOption {
  const char *name;
  std::string Options::*member;
};

struct FlagOption {
  const char *name;
  bool Options::*member;
};

constexpr TextOption kTexts[] = {{"--scenario", &Options::scenario},
                                 {"--listen", &Options::listen},
                                 {"--port", &Options::port},
                                 {"--port-file", &Options::port_file},
                                 {"--control-port", &Options::control_port},
                                 {"--control-port-file", &Options::control_port_file},
                                 {"--journal", &Options::journal},
                                 {"--artifacts", &Options::artifacts}};
constexpr FlagOption kFlags[] = {
    {"--check", &Options::check}, {"--debug-keys", &Options::debug_keys}, {"--help", &Options::help}};

bool take_option(Options &options, const std::vector<std::string> &words, size_t &at) {
  for (const FlagOption &flag : kFlags)
    if (words[at] == flag.name) return options.*flag.member = true;
  for (const TextOption &text : kTexts) {
    if (words[at] != text.name) continue;
    if (at + 1 >= words.size()) throw std::runtime_error(words[at] + ": its value is missing");
    options.*text.member = words[++at];
    return true;
  }
  return false;
}

Options read_options(const std::vector<std::string> &words) {
  Options options;
  for (size_t at = 0; at < words.size(); at++)
    if (!take_option(options, words, at)) throw std::runtime_error(words[at] + ": unknown option; see --help");
  return options;
}

// -1 for an empty text.
int port_number(const std::string &text) {
  if (text.empty()) return -1;
  if (text.size() > 5 || text.find_first_not_of("0123456789") != std::string::npos || std::stoi(text) > 65535)
    throw std::runtime_error(text + ": not a port");
  return std::stoi(text);
}

Server *gsServer = nullptr;

void on_signal(int) {
  if (gsServer != nullptr) gsServer->stop();
}

void catch_signals(Server &server) {
  gsServer = &server;
  struct sigaction action {};
  action.sa_handler = on_signal;
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);
}

int play(const Options &options) {
  Scenario scenario = options.scenario.empty() ? parse_scenario("{}", "default") : read_scenario(options.scenario);
  if (options.check) {
    std::cout << options.scenario << ": good\n";
    return 0;
  }
  load_legacy_algorithms();
  Fabric fabric(std::move(scenario), options.journal);
  if (!options.artifacts.empty()) write_artifacts(fabric.world(), options.artifacts, options.debug_keys);
  Server server(fabric, options.listen, port_number(options.port), port_number(options.control_port));
  catch_signals(server);
  // The files come last: whoever waits for them finds everything else in place.
  const std::string control_port = std::to_string(server.control_port()) + "\n";
  if (!options.control_port_file.empty()) write_private_file(options.control_port_file, control_port);
  const std::string port = std::to_string(server.port()) + "\n";
  if (!options.port_file.empty()) write_private_file(options.port_file, port);
  std::cout << port << std::flush;
  server.run();
  Verdict verdict = fabric.verdict();
  std::cout << verdict.as_text() << std::flush;
  return verdict.held() ? 0 : kExitFailed;
}

}  // namespace

int main(int argc, char **argv) {
  try {
    Options options = read_options(std::vector<std::string>(argv + 1, argv + argc));
    if (!options.help) return play(options);
    std::cout << kHelp;
    return 0;
  } catch (const std::exception &error) {
    std::cerr << "kelvane-fabric: " << error.what() << "\n";
    return kExitUsage;
  }
}
