// A new appliance for each test on the reference platform: its files in a fresh temporary folder.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "platform/reference/reference.h"
#include "tests/platform/reference_root.h"
#include "tests/platform/reset.h"

namespace {

// Removed by the process that made it, not by its children.
struct Root {
  Root() {
    std::string name = std::filesystem::temp_directory_path() / "reference-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("no temporary folder");
    }
    folder = name;
  }
  ~Root() { remove(); }
  Root(const Root &) = delete;
  Root &operator=(const Root &) = delete;
  void remove() const {
    std::error_code ignored;
    if (owner == getpid()) {
      std::filesystem::remove_all(folder, ignored);
    }
  }
  std::string folder;
  pid_t owner = getpid();
};

const Root &root() {
  static const Root one;
  return one;
}

}  // namespace

std::string reference_root() {
  return root().folder;
}

void platform_conformance_reset() {
  root().remove();
  reference_set_root(root().folder.c_str());
}
