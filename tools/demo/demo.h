// One first boot, played: a fresh factory state, the fabric, the sandboxed agent on a scaled clock, and a stand-in for
// the DHCP client that stores the endpoint after a while. Owns the processes and the folder of artefacts. Blocks until
// the story is told; what goes wrong on the way throws std::runtime_error.
#ifndef KELVANE_TOOLS_DEMO_DEMO_H
#define KELVANE_TOOLS_DEMO_DEMO_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tools/demo/process.h"

namespace demo {

struct Options {
  std::filesystem::path build;     // where the programs are
  std::filesystem::path scenario;  // what the fabric plays
  std::filesystem::path out;       // the artefacts; emptied first
  bool keep = false;
  int speed = 8;         // agent seconds in a second
  int64_t seconds = 95;  // agent seconds to watch
  int debug_level = 6;   // of the agent's log
};

class Demo {
 public:
  explicit Demo(Options options);

  void play();

  const Options &options() const { return options_; }
  uint16_t port() const { return port_; }
  std::filesystem::path root() const { return options_.out / "root"; }
  std::filesystem::path journal() const { return options_.out / "journal.jsonl"; }
  Process &fabric() { return *fabric_; }
  Process &agent() { return *agent_; }
  std::string program(const std::string &name) const;

  // Runs kelvanectl on the demo's appliance and returns what it printed. Throws when it fails.
  std::string kelvanectl(const std::vector<std::string> &arguments) const;

  // Sets a flag from the signal handler; play() then ends with an exception.
  static void interrupt();

 private:
  void start_fabric();
  void make_factory_state();
  void start_agent();
  void store_endpoint();
  void watch();

  Options options_;
  bool colour_;
  uint16_t port_ = 0;
  std::unique_ptr<Process> fabric_;
  std::unique_ptr<Process> agent_;
};

}  // namespace demo

#endif
