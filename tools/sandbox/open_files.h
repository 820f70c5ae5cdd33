// The files that the agent has open, by descriptor: to notice a second close, to know the path that a read or a write
// is for, and to tell in the end what was left open. Nothing here blocks.
#ifndef KELVANE_TOOLS_SANDBOX_OPEN_FILES_H
#define KELVANE_TOOLS_SANDBOX_OPEN_FILES_H

#include <map>
#include <string>
#include <vector>

namespace sandbox {

// The agent's path for each descriptor that it has open, and for each that it had.
std::map<int, std::string> &open_descriptors();
std::map<int, std::string> &closed_descriptors();

// The paths of what is open.
std::vector<std::string> open_agent_files();

}  // namespace sandbox

#endif
