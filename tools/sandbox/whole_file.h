// A file as one text.
#ifndef KELVANE_TOOLS_SANDBOX_WHOLE_FILE_H
#define KELVANE_TOOLS_SANDBOX_WHOLE_FILE_H

#include <fstream>
#include <iterator>
#include <string>

namespace sandbox {

// Empty when it cannot be read. Blocks for as long as the disk does.
inline std::string whole_file(const std::string &path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace sandbox

#endif
