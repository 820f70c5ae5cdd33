// One first boot, played: a fresh factory state, the fabric, the sandboxed agent on a scaled clock, and a stand-in for
// the DHCP client that stores the endpoint after a while. Owns the processes and the folder of artefacts. Blocks until
// the story is told; what goes wrong on the way throws std::runtime_error.
#ifndef KELVANE_TOOLS_DEMO_DEMO_H
#define KELVANE_TOOLS_DEMO_DEMO_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <set>
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
  // The SSH host key's fingerprint that the appliance was given, with its colons; the admin account before the start.
  static const char *fingerprint() { return "3f:a2:09:6c:d1:58:b7:e4:1b:90:c5:2e:77:08:4a:fd"; }
  const std::string &factory_accounts() const { return factory_accounts_; }
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
  void tell_line(const std::string &line);
  void tell_report(int64_t second);
  void dump_certificates();

  Options options_;
  bool colour_;
  uint16_t port_ = 0;
  std::string factory_accounts_;
  std::set<std::string> headings_;
  size_t reports_ = 0;
  int64_t second_ = 0;
  int empty_looks_ = 0;
  bool dumped_ = false;
  std::unique_ptr<Process> fabric_;
  std::unique_ptr<Process> agent_;
};

}  // namespace demo

#endif
