#include "tools/sandbox/paths.h"

#include <array>
#include <filesystem>

namespace sandbox {
namespace {

// The machine's own: sources of randomness, the kernel's views, and where shared libraries and their data lie.
constexpr std::array<const char *, 10> kOnTheMachine = {
    "/dev/urandom", "/dev/random", "/dev/null", "/proc", "/sys", "/usr", "/lib", "/lib64", "/bin", "/etc/ssl"};

constexpr const char *kMountPoint = "/cdrom";

bool is_or_below(const std::string &path, const std::string &folder) {
  return path.compare(0, folder.size(), folder) == 0 && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::string normal(const std::string &path) {
  std::string text = std::filesystem::path(path).lexically_normal().string();
  while (text.size() > 1 && text.back() == '/') {
    text.pop_back();
  }
  while (text.compare(0, 2, "//") == 0) {
    text.erase(0, 1);
  }
  return text;
}

bool on_the_machine(const std::string &path) {
  for (const char *folder : kOnTheMachine) {
    if (is_or_below(path, folder)) {
      return true;
    }
  }
  return false;
}

}  // namespace

bool Paths::below_root(const std::string &path) const {
  return !root_.empty() && is_or_below(path, root_);
}

std::string Paths::shown(const std::string &path) const {
  if (!mounted_.empty() && is_or_below(path, mounted_)) {
    return kMountPoint + path.substr(mounted_.size());
  }
  if (!below_root(path)) {
    return path;
  }
  return path.size() == root_.size() ? "/" : path.substr(root_.size());
}

std::string Paths::map(const std::string &path) const {
  if (path.empty() || path[0] != '/') {
    return path;
  }
  const std::string clean = normal(path);
  const std::string inside = shown(clean);
  if (!mounted_.empty() && is_or_below(inside, kMountPoint)) {
    return mounted_ + inside.substr(std::string(kMountPoint).size());
  }
  if (below_root(clean) || on_the_machine(clean)) {
    return clean;
  }
  return clean == "/" ? root_ : root_ + clean;
}

}  // namespace sandbox
