// A file as one text.
#ifndef KELVANE_TOOLS_SANDBOX_WHOLE_FILE_H
#define KELVANE_TOOLS_SANDBOX_WHOLE_FILE_H

#include <fstream>
#include <sstream>
#include <string>

namespace sandbox {

// Empty when it cannot be read. Blocks for as long as the disk does.
inline std::string whole_file(const std::string &path) {
  std::ostringstream bytes;
  bytes << std::ifstream(path, std::ios::binary).rdbuf();
  return bytes.str();
}

}  // namespace sandbox

#endif
