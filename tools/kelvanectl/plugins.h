// What the agent's plugins know, read from the status file that the agent writes after every command. Only reads; the
// agent may run or not. Blocks for the read alone. Fails by Failure; never changes the file.
#ifndef KELVANE_TOOLS_KELVANECTL_PLUGINS_H
#define KELVANE_TOOLS_KELVANECTL_PLUGINS_H

#include <string>

#include "tools/kelvanectl/fields.h"

namespace kelvanectl {

// A list with one object for each plugin, in the file's order. Without the file, as on an appliance that never ran a
// command, the list is empty. Failure when the file cannot be read or is not what the agent writes.
Json plugin_list(const std::string &file);

}  // namespace kelvanectl

#endif
