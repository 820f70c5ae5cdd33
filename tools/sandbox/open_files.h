// The files that the agent has open, by descriptor: to notice a second close, and to know the path that a read or a
// write is for. And what the process has open besides what it began with, however it came to be: files, sockets, copies
// of descriptors, those of the platform. Nothing here blocks.
#ifndef KELVANE_TOOLS_SANDBOX_OPEN_FILES_H
#define KELVANE_TOOLS_SANDBOX_OPEN_FILES_H

#include <map>
#include <string>
#include <vector>

namespace sandbox {

// The agent's path for each descriptor that it has open, and for each that it had.
std::map<int, std::string> &open_descriptors();
std::map<int, std::string> &closed_descriptors();

// From here on, what is open is counted.
void note_open_descriptors();

// What is open and was not when it was noted, as the kernel names it: "/path", "socket:[number]". The configuration
// database's files are none: the platform keeps them open as long as the agent needs it.
std::vector<std::string> left_open();

}  // namespace sandbox

#endif
