// The probe program in a sandbox of its own: what it printed, what was traced, and what it left below the root.
#ifndef KELVANE_TESTS_SANDBOX_LAYER_FIXTURE_H
#define KELVANE_TESTS_SANDBOX_LAYER_FIXTURE_H

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/files.h"

namespace layer {

namespace files = std::filesystem;

inline std::string read(const files::path &file) {
  return support::read_if_there(file);
}

class Layer : public testing::Test {
 protected:
  Layer() {
    files::create_directories(folder_ / "disc");
    std::ofstream(folder_ / "disc/file") << "on the disc";
  }

  // Runs the probe; what it printed is in out_, the trace between conf_init and the end in trace_.
  int run(const std::string &deeds, const std::string &options) {
    const std::string base = folder_.string();
    const std::string command = std::string(PROBE) + " --root " + base + "/root --trace " + base + "/trace --log " +
                                base + "/log --clock virtual --start-time 1000 " + options + " -- " + deeds + " >" +
                                base + "/out 2>" + base + "/err";
    const int status = system(command.c_str());
    out_ = read(folder_ / "out");
    trace_ = read(folder_ / "trace");
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  std::string script(const std::string &text) {
    std::ofstream(folder_ / "script") << text;
    return " --script " + (folder_ / "script").string();
  }
  std::string disc() const { return "--media " + (folder_ / "disc").string(); }

  const support::TempDir own_;
  const files::path folder_ = own_.path();
  std::string out_;
  std::string trace_;
};

}  // namespace layer

#endif
