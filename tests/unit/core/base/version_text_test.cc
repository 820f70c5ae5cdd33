#include "core/base/version_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using kelvane::VersionNumbers;

// The four numbers, or "none".
std::string read(const char *text) {
  VersionNumbers numbers = {};
  if (!kelvane::version_parse(text, &numbers)) {
    return "none";
  }
  const uint32_t *part = numbers.part;
  return std::to_string(part[0]) + " " + std::to_string(part[1]) + " " + std::to_string(part[2]) + " " +
         std::to_string(part[3]);
}

bool greater(const char *a, const char *b) {
  VersionNumbers left;
  VersionNumbers right;
  EXPECT_TRUE(kelvane::version_parse(a, &left));
  EXPECT_TRUE(kelvane::version_parse(b, &right));
  return kelvane::version_greater(&left, &right);
}

TEST(VersionText, FourNumbersAreRead) {
  EXPECT_EQ(read("1.2.3.4"), "1 2 3 4");
  EXPECT_EQ(read("0.0.0.0"), "0 0 0 0");
  EXPECT_EQ(read("010.020.030.040"), "10 20 30 40");
  EXPECT_EQ(read("4294967295.0.0.1"), "4294967295 0 0 1");
}

TEST(VersionText, WhatFollowsTheFourthNumberIsIgnored) {
  EXPECT_EQ(read("1.2.3.4.5"), "1 2 3 4");
  EXPECT_EQ(read("1.2.3.4-beta"), "1 2 3 4");
}

TEST(VersionText, BlanksBeforeNumbersAreSkipped) {
  EXPECT_EQ(read(" 1. 2. 3. 4"), "1 2 3 4");
}

TEST(VersionText, FewerNumbersAreNone) {
  for (const char *text : {"", "1", "1.2", "1.2.3", "1.2.3.", "1..3.4", "a.b.c.d", "1,2,3,4", "1 .2.3.4", ".1.2.3"}) {
    EXPECT_EQ(read(text), "none") << text;
  }
  EXPECT_EQ(read(nullptr), "none");
}

TEST(VersionText, TheFirstNumberThatDiffersDecides) {
  EXPECT_TRUE(greater("2.0.0.0", "1.9.9.9"));
  EXPECT_TRUE(greater("1.3.0.0", "1.2.9.9"));
  EXPECT_TRUE(greater("1.2.4.0", "1.2.3.9"));
  EXPECT_TRUE(greater("1.2.3.5", "1.2.3.4"));
  EXPECT_TRUE(greater("4294967295.0.0.0", "2147483647.0.0.0"));
  EXPECT_FALSE(greater("1.2.3.4", "1.2.3.4"));
  EXPECT_FALSE(greater("1.9.9.9", "2.0.0.0"));
  EXPECT_FALSE(greater("1.2.3.9", "1.2.4.0"));
}

}  // namespace
