// The script: what happens in the agent's world at which agent time. A JSON list of objects, each with "at" (seconds
// since the agent's start) and one action:
//   {"at": 12, "endpoint": "168.63.129.16"}        the lease names a wire server on port1
//   {"at": 12, "set": {"table": 440, "key": "port2", "fields": {...}}}
//   {"at": 40, "command": 1}                       an operator's test command: the cell is written, SIGUSR2 raised
//   {"at": 40, "debug_level": 7}
//   {"at": 40, "media": "udf"}                     the disc in the drive changes ("none": is taken out)
//   {"at": 90, "url": "/_fabric/advance"}          a control request (POST, or "method") to the fabric
//   {"at": 90, "write": "/data/etc/x", "text": ""} a file below the root is written
//   {"at": 90, "remove": "/data/etc/x"}
//   {"at": 95, "kill": 9}                          a signal to the agent itself
// Due events run inside the agent's sleeps, in order of time, and once after conf_init for those that are due then.
#ifndef KELVANE_TOOLS_SANDBOX_SCRIPT_H
#define KELVANE_TOOLS_SANDBOX_SCRIPT_H

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace sandbox {

class Script {
 public:
  // Throws std::runtime_error for what is no script. Events of the same time keep their order.
  static Script parse(const nlohmann::json &list);
  static Script load(const std::string &file);

  // Nanoseconds of agent time at which the next event is due; none when the script is done.
  std::optional<int64_t> next() const;

  // Takes the next event off and hands it to the action.
  void run_next(const std::function<void(const nlohmann::json &)> &action);

 private:
  std::vector<nlohmann::json> events_;
  size_t done_ = 0;
};

// Performs one event; a failure is told on standard error and ends the process with status 3, as a scenario that did
// not happen must not pass.
void perform_event(const nlohmann::json &event);

}  // namespace sandbox

#endif
