#include "tools/sandbox/open_files.h"

#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "platform/reference/reference.h"

namespace sandbox {
namespace {

namespace files = std::filesystem;

using Names = std::map<int, std::string>;  // by descriptor

Names &at_the_start() {
  static auto *const kNames = new Names;
  return *kNames;
}

// Without the one that looks.
Names descriptors_now() {
  Names out;
  for (const auto &entry : files::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const std::string name = files::read_symlink(entry.path(), gone).string();
    out[std::stoi(entry.path().filename().string())] = name;
  }
  const std::string looking = "/proc/" + std::to_string(getpid()) + "/fd";
  std::erase_if(out, [&](const auto &one) { return one.second == looking; });
  return out;
}

}  // namespace

// Never destroyed: wrapped calls still come while the process ends.
std::map<int, std::string> &open_descriptors() {
  static auto *const kOpen = new std::map<int, std::string>;
  return *kOpen;
}

std::map<int, std::string> &closed_descriptors() {
  static auto *const kClosed = new std::map<int, std::string>;
  return *kClosed;
}

void note_open_descriptors() {
  at_the_start() = descriptors_now();
}

std::vector<std::string> left_open() {
  std::vector<std::string> out;
  for (const auto &[descriptor, name] : descriptors_now()) {
    if (at_the_start().count(descriptor) == 0 && name.rfind(reference_database_path(), 0) != 0) {
      out.push_back(name);
    }
  }
  return out;
}

}  // namespace sandbox
