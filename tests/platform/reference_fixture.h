// A reference platform that is new for each test, with what it logs kept.
#ifndef KELVANE_TESTS_PLATFORM_REFERENCE_FIXTURE_H
#define KELVANE_TESTS_PLATFORM_REFERENCE_FIXTURE_H

#include <filesystem>

#include "platform/reference/reference.h"
#include "tests/platform/conformance.h"
#include "tests/platform/reference_root.h"

namespace conformance {

inline std::vector<std::string> log_lines;

inline void keep_line(const char *text, void *) {
  log_lines.emplace_back(text);
}

inline bool logged(const std::string &part) {
  for (const std::string &line : log_lines) {
    if (line.find(part) != std::string::npos) {
      return true;
    }
  }
  return false;
}

class Reference : public FreshPlatform {
 protected:
  void SetUp() override {
    FreshPlatform::SetUp();
    log_lines.clear();
    reference_set_log_sink(keep_line, nullptr);
  }
  void TearDown() override {
    FreshPlatform::TearDown();
    reference_set_log_sink(nullptr, nullptr);
  }

  // Connects, changes the administrator's password, and leaves.
  static void make_configuration() {
    ASSERT_EQ(0, conf_init());
    ASSERT_EQ(0, commit_password("admin", "changed"));
    ASSERT_EQ(0, write_config());
    conf_end();
  }
};

inline std::string database_folder() {
  return reference_root() + "/data/etc";
}

// The files in the database's folder that begin so.
inline std::vector<std::string> files_beginning(const std::string &start) {
  std::vector<std::string> found;
  for (const auto &entry : std::filesystem::directory_iterator(database_folder())) {
    const std::string name = entry.path().filename();
    if (name.rfind(start, 0) == 0) {
      found.push_back(entry.path());
    }
  }
  return found;
}

}  // namespace conformance

#endif
