#include "core/base/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct Utf8Case {
  std::string bytes;
  size_t length;
  uint32_t code_point;
};

TEST(Utf8, DecodesTheFirstAndLastOfEachLength) {
  const Utf8Case cases[] = {
      {std::string(1, '\0'), 1, 0x0},   {"\x7F", 1, 0x7F},           {"\xC2\x80", 2, 0x80},
      {"\xDF\xBF", 2, 0x7FF},           {"\xE0\xA0\x80", 3, 0x800},  {"\xED\x9F\xBF", 3, 0xD7FF},
      {"\xEE\x80\x80", 3, 0xE000},      {"\xEF\xBF\xBF", 3, 0xFFFF}, {"\xF0\x90\x80\x80", 4, 0x10000},
      {"\xF4\x8F\xBF\xBF", 4, 0x10FFFF}};
  for (const Utf8Case &each : cases) {
    uint32_t c = 1;
    EXPECT_EQ(kelvane::utf8_decode(each.bytes.data(), each.bytes.data() + each.bytes.size(), &c), each.length);
    EXPECT_EQ(c, each.code_point);
  }
}

TEST(Utf8, RefusesEverythingElseAndLeavesTheOutput) {
  for (const std::string bytes : {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF",
                                  "\xED\xA0\x80", "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xFE",
                                  "\xFF", "\xC3", "\xC3(", "\xE2\x82", "\xE2\x82(", "\xF0\x9F\x98", "\xF0\x9F(\x80"}) {
    uint32_t c = 77;
    EXPECT_EQ(kelvane::utf8_decode(bytes.data(), bytes.data() + bytes.size(), &c), 0u)
        << ::testing::PrintToString(bytes);
    EXPECT_EQ(c, 77u);
  }
}

TEST(Utf8, ATextIsValidWhenAllItsCharactersAre) {
  EXPECT_TRUE(kelvane::utf8_valid("", 0));
  EXPECT_TRUE(kelvane::utf8_valid("a\xc3\xa9z", 4));
  EXPECT_FALSE(kelvane::utf8_valid("a\xc3\xa9z", 2));
  EXPECT_FALSE(kelvane::utf8_valid("\xe9z", 2));
  EXPECT_FALSE(kelvane::utf8_valid("z\xe9", 2));
}

}  // namespace
