#include "core/version_query.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace {

bool asked(std::vector<std::string> arguments) {
  std::vector<char *> pointers;
  for (std::string &argument : arguments) {
    pointers.push_back(argument.data());
  }
  pointers.push_back(nullptr);
  return kelvane::version_asked(static_cast<int>(arguments.size()), pointers.data());
}

TEST(VersionQuery, IsTheWholeFirstArgument) {
  EXPECT_EQ(asked({"kelvane", "-version"}), true);
}

TEST(VersionQuery, AllowsFurtherArguments) {
  EXPECT_EQ(asked({"kelvane", "-version", "-daemon"}), true);
}

TEST(VersionQuery, IsNotAnythingElse) {
  EXPECT_EQ(asked({}), false);
  EXPECT_EQ(asked({"kelvane"}), false);
  EXPECT_EQ(asked({"-version"}), false);
  EXPECT_EQ(asked({"kelvane", ""}), false);
  EXPECT_EQ(asked({"kelvane", "-versions"}), false);
  EXPECT_EQ(asked({"kelvane", "version"}), false);
  EXPECT_EQ(asked({"kelvane", "--version"}), false);
  EXPECT_EQ(asked({"kelvane", "-VERSION"}), false);
  EXPECT_EQ(asked({"kelvane", "-vers"}), false);
  EXPECT_EQ(asked({"kelvane", "-daemon", "-version"}), false);
}

TEST(VersionQuery, PrintsThreeLines) {
  testing::internal::CaptureStdout();
  kelvane::version_print();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "TorvikGuest-2.2.26 running on Pellix\n"
            "Python: 2.7.16\n"
            "Goal state agent: 2.2.26\n");
}

}  // namespace
