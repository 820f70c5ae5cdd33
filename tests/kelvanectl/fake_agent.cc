// Takes test commands as the agent does: kelvane-fake-agent ROOT MODE. It writes ROOT/var/run/kelvane.pid, and each
// command that it takes to ROOT/commands. MODE serve: sets the served bit; silent: does not; leave: ends without it.
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/platform.h"
#include "platform/reference/reference.h"

namespace {

volatile sig_atomic_t pending = 0;

void take(int) {
  pending = static_cast<sig_atomic_t>(nCfg_debug_zone->test_command);
  nCfg_debug_zone->test_command = 0;
}

}  // namespace

int main(int count, char **arguments) {
  if (count != 3) {
    return 2;
  }
  const std::string root = arguments[1];
  const std::string mode = arguments[2];
  reference_set_root(root.c_str());
  if (conf_init() != 0) {
    return 1;
  }
  signal(SIGUSR2, take);
  std::filesystem::create_directories(root + "/var/run");
  std::ofstream(root + "/var/run/kelvane.pid.new") << getpid();
  std::filesystem::rename(root + "/var/run/kelvane.pid.new", root + "/var/run/kelvane.pid");
  for (int turns = 0; turns < 6000; turns++) {
    usleep(10000);
    if (pending == 0) {
      continue;
    }
    std::ofstream(root + "/commands", std::ios::app) << pending << "\n";
    pending = 0;
    if (mode == "leave") {
      return 0;
    }
    if (mode == "serve") {
      __atomic_fetch_or(&nCfg_debug_zone->flags, static_cast<uint8_t>(NCFG_DEBUG_FLAG_SERVED), __ATOMIC_SEQ_CST);
    }
  }
  return 3;
}
