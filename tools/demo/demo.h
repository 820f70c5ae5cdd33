// One appliance, played: a fresh factory state, the fabric, the sandboxed agent on a scaled clock, and a stand-in for
// the DHCP client that stores the endpoint after a while. Owns the processes and the folder of artefacts, and tells
// what the agent does while it is watched. Watching blocks; what goes wrong throws std::runtime_error.
#ifndef KELVANE_TOOLS_DEMO_DEMO_H
#define KELVANE_TOOLS_DEMO_DEMO_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tools/demo/process.h"
#include "tools/demo/timeline.h"

namespace demo {

struct Options {
  std::filesystem::path build;     // where the programs are
  std::filesystem::path scenario;  // what the fabric plays
  std::filesystem::path out;       // the artefacts; emptied first
  bool keep = false;
  int speed = 12;        // agent seconds in a second
  int64_t seconds = 95;  // agent seconds to watch a scenario without steps
  int debug_level = 6;   // of the agent's log
};

class Demo {
 public:
  explicit Demo(Options options);

  // The fabric, the factory state, the agent.
  void start();
  // Tells what happens until `done` says so.
  void watch(const std::function<bool()> &done);
  // Ends the agent by the signal and starts it again, as its supervisor would.
  void restart_agent(int signal);
  // Makes the agent log its certificate store. An agent that is busy with a request does not answer in time.
  void dump_certificates();

  const Options &options() const { return options_; }
  uint16_t port() const { return port_; }
  // The agent's seconds since it was first started.
  int64_t second() const { return second_; }
  std::filesystem::path root() const { return options_.out / "root"; }
  std::filesystem::path journal() const { return options_.out / "journal.jsonl"; }
  // The agent's log since its last start; all of them and the traces, for a search.
  std::filesystem::path log() const { return logs_.back(); }
  std::vector<std::filesystem::path> logs_and_traces() const;
  Process &fabric() { return *fabric_; }
  Process &agent() { return *agent_; }
  // The SSH host key's fingerprint that the appliance was given, with its colons; the admin account before the start.
  static const char *fingerprint() { return "3f:a2:09:6c:d1:58:b7:e4:1b:90:c5:2e:77:08:4a:fd"; }
  const std::string &factory_accounts() const { return factory_accounts_; }
  std::string program(const std::string &name) const;

  // Runs kelvanectl on the demo's appliance and returns what it printed. Throws when it fails.
  std::string kelvanectl(const std::vector<std::string> &arguments) const;

  // Sets a flag from the signal handler; watching then ends with an exception.
  static void interrupt();

 private:
  void start_fabric();
  void make_factory_state();
  void start_agent();
  void store_endpoint();
  void tell_new_lines();
  void tell_line(const std::string &line);
  void tell_report(int64_t second);
  [[noreturn]] void agent_is_gone();

  Options options_;
  uint16_t port_ = 0;
  int64_t start_time_;
  std::string factory_accounts_;
  std::set<std::string> headings_;
  size_t reports_ = 0;
  int64_t second_ = 0;
  int64_t second_of_start_ = 0;
  int empty_looks_ = 0;
  std::vector<std::filesystem::path> logs_;
  std::vector<std::filesystem::path> traces_;
  std::unique_ptr<Follower> trace_;
  std::unique_ptr<Process> fabric_;
  std::unique_ptr<Process> agent_;
};

}  // namespace demo

#endif
