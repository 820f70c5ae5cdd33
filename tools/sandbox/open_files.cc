#include "tools/sandbox/open_files.h"

namespace sandbox {

// Never destroyed: wrapped calls still come while the process ends.
std::map<int, std::string> &open_descriptors() {
  static auto *const kOpen = new std::map<int, std::string>;
  return *kOpen;
}

std::map<int, std::string> &closed_descriptors() {
  static auto *const kClosed = new std::map<int, std::string>;
  return *kClosed;
}

std::vector<std::string> open_agent_files() {
  std::vector<std::string> out;
  for (const auto &[descriptor, path] : open_descriptors()) {
    out.push_back(path);
  }
  return out;
}

}  // namespace sandbox
