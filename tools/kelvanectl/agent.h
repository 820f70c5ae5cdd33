// The commands that talk to a running agent through the debug record and a signal. Fails by Failure.
#ifndef KELVANE_TOOLS_KELVANECTL_AGENT_H
#define KELVANE_TOOLS_KELVANECTL_AGENT_H

#include <cstdint>
#include <string>

#include "tools/kelvanectl/fields.h"

namespace kelvanectl {

Json debug_show();
Json debug_level();
void set_debug_level(int32_t level);

// Writes a test command into the debug record, signals the agent whose pid stands in the file, and waits until it says
// that it has served the command (command 99: or until it is gone). wait 0 does not wait. Blocks for at most so many
// seconds. A process that is no agent is never signalled.
void run_command(uint32_t command, const std::string &pid_file, unsigned wait);

}  // namespace kelvanectl

#endif
