// What cmake/hardening.cmake promises, seen in the program that ships, in the agent's library and, where the result
// bears no trace, in the compiler's command lines; and what a package of it holds.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>

#include "tests/support/files.h"

namespace {

const char kProgram[] = KELVANE_SHIPPED "/kelvane";
const char kLibrary[] = KELVANE_SHIPPED "/libkelvane-agent.a";
const char kCommands[] = KELVANE_SHIPPED "/compile_commands.json";

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

std::vector<std::string> lines_with(const std::string &text, const std::string &part) {
  std::vector<std::string> found;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (line.find(part) != std::string::npos) {
      found.push_back(line);
    }
  }
  return found;
}

class Hardening : public ::testing::Test {
 protected:
  void SetUp() override {
    if (support::run_command({"sh", "-c", "command -v readelf"}).status != 0) {
      GTEST_SKIP() << "SKIP: no readelf here (Debian: binutils)";
    }
    ASSERT_TRUE(support::exists(kProgram)) << "build it with: ctest -R hardening_test.build";
  }

  static std::string readelf(const std::string &option, const std::string &file) {
    const support::CommandResult result = support::run_command({"env", "LC_ALL=C", "readelf", "--wide", option, file});
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }

  static bool on_x86() { return readelf("--file-header", kProgram).find("X86-64") != std::string::npos; }

  // The functions that a file wants from others, without their versions.
  static std::set<std::string> wanted(const std::string &option, const std::string &file) {
    std::set<std::string> names;
    for (const std::string &line : lines_with(readelf(option, file), " UND ")) {
      std::smatch name;
      if (std::regex_search(line, name, std::regex(" UND ([A-Za-z0-9_]+)"))) {
        names.insert(name[1]);
      }
    }
    return names;
  }

  // The checked calls of the C library among them; the check of the stack is not one.
  static size_t checked_calls(const std::set<std::string> &names) {
    return static_cast<size_t>(std::count_if(names.begin(), names.end(), [](const std::string &name) {
      return std::regex_match(name, std::regex("__[a-z0-9_]+_chk")) && name != "__stack_chk_fail";
    }));
  }
};

TEST_F(Hardening, TheProgramIsPositionIndependent) {
  EXPECT_THAT(readelf("--file-header", kProgram), ContainsRegex("Type: +DYN"));
  EXPECT_THAT(readelf("--dynamic", kProgram), ContainsRegex("FLAGS_1.* PIE"));
  EXPECT_THAT(readelf("--dynamic", kProgram), Not(HasSubstr("TEXTREL")));
}

TEST_F(Hardening, EverySymbolIsBoundBeforeTheProgramRunsAndItsTablesAreReadOnlyThen) {
  EXPECT_THAT(readelf("--program-headers", kProgram), HasSubstr("GNU_RELRO"));
  EXPECT_THAT(readelf("--dynamic", kProgram), ContainsRegex("FLAGS_1.* NOW"));
  // All of the table of calls lies in the read-only segment: no lazily bound rest is left.
  EXPECT_THAT(readelf("--section-headers", kProgram), Not(HasSubstr(" .got.plt ")));
}

TEST_F(Hardening, NothingIsWritableAndExecutable) {
  const std::string headers = readelf("--program-headers", kProgram);
  const std::vector<std::string> stack = lines_with(headers, "GNU_STACK");
  ASSERT_EQ(stack.size(), 1u);
  EXPECT_THAT(stack[0], HasSubstr(" RW "));
  EXPECT_EQ(lines_with(headers, " RWE ").size(), 0u) << headers;
}

TEST_F(Hardening, NoSearchPathForLibrariesIsInTheProgram) {
  EXPECT_THAT(readelf("--dynamic", kProgram), Not(HasSubstr("RPATH")));
  EXPECT_THAT(readelf("--dynamic", kProgram), Not(HasSubstr("RUNPATH")));
}

TEST_F(Hardening, StacksAreProtected) {
  EXPECT_EQ(wanted("--symbols", kLibrary).count("__stack_chk_fail"), 1u);
  EXPECT_EQ(wanted("--dyn-syms", kProgram).count("__stack_chk_fail"), 1u);
}

TEST_F(Hardening, TheCLibrarysCallsAreTheCheckedOnes) {
  EXPECT_GE(checked_calls(wanted("--symbols", kLibrary)), 3u);
  EXPECT_GE(checked_calls(wanted("--dyn-syms", kProgram)), 3u);
}

// Seen in the library: the C library's own start files often have no mark, and then the program has none either.
TEST_F(Hardening, BranchesAreProtected) {
  if (!on_x86()) {
    GTEST_SKIP() << "SKIP: this machine is no x86-64";
  }
  const std::string notes = readelf("--notes", kLibrary);
  const size_t objects = lines_with(notes, "File: ").size();
  EXPECT_GT(objects, 50u);
  EXPECT_EQ(lines_with(notes, "IBT, SHSTK").size(), objects);
}

TEST_F(Hardening, EveryCommandLineOfTheCompilerHasTheFlags) {
  const std::vector<std::string> commands = lines_with(support::read_file(kCommands), "\"command\":");
  EXPECT_GT(commands.size(), 50u);
  const bool x86 = on_x86();
  for (const std::string &command : commands) {
    EXPECT_THAT(command, HasSubstr(" -fstack-protector-strong "));
    EXPECT_THAT(command, ContainsRegex(" -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=[23] "));
    if (x86) {
      EXPECT_THAT(command, HasSubstr(" -fstack-clash-protection "));
      EXPECT_THAT(command, HasSubstr(" -fcf-protection=full "));
    }
  }
}

TEST(Installed, TheProgramAndItsUnitAndNothingElse) {
  const std::string root = KELVANE_INSTALLED;
  const std::string program = root + "/sbin/kelvane";
  const std::string unit = root + "/lib/systemd/system/kelvane.service";
  std::set<std::string> files;
  for (const auto &entry : std::filesystem::recursive_directory_iterator(root)) {
    if (!entry.is_directory()) {
      files.insert(entry.path());
    }
  }
  EXPECT_EQ(files, (std::set<std::string>{program, unit}));
  EXPECT_EQ(support::mode_of(program), 0755);
  EXPECT_EQ(support::mode_of(unit), 0644);
  EXPECT_THAT(support::read_file(unit), HasSubstr("\nExecStart=/usr/sbin/kelvane\n"));
}

}  // namespace
