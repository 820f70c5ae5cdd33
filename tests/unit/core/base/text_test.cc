#include "core/base/text.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <utility>

#include "tests/support/refused_memory.h"

namespace {

using kelvane::Text;

TEST(Text, IsAbsentAtFirst) {
  const Text text;
  EXPECT_EQ(text.get(), nullptr);
  EXPECT_FALSE(text.present());
  EXPECT_TRUE(text.empty());
}

TEST(Text, CopiesAndReplaces) {
  Text text;
  EXPECT_EQ(kelvane::text_copy(&text, "one"), 0);
  EXPECT_STREQ(text.get(), "one");
  EXPECT_EQ(kelvane::text_copy(&text, ""), 0);
  EXPECT_TRUE(text.present());
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(kelvane::text_copy(&text, nullptr), 0);
  EXPECT_FALSE(text.present());
}

TEST(Text, CanBeCopiedFromItself) {
  Text text;
  kelvane::text_copy(&text, "abcdef");
  EXPECT_EQ(kelvane::text_copy(&text, text.get() + 3), 0);
  EXPECT_STREQ(text.get(), "def");
}

TEST(Text, CopiesSpans) {
  Text text;
  EXPECT_EQ(kelvane::text_copy_span(&text, "abcdef", 2), 0);
  EXPECT_STREQ(text.get(), "ab");
}

TEST(Text, FailedConversionLeavesItUnchanged) {
  Text text;
  kelvane::text_copy(&text, "kept");
  EXPECT_EQ(kelvane::text_format(&text, "%ls", L"\u20AC"), -1);
  EXPECT_STREQ(text.get(), "kept");
}

TEST(Text, Formats) {
  Text text;
  EXPECT_EQ(kelvane::text_format(&text, "%s-%u", "a", 7u), 0);
  EXPECT_STREQ(text.get(), "a-7");
  EXPECT_EQ(kelvane::text_format(&text, "%s", std::string(5000, 'x').c_str()), 0);
  EXPECT_EQ(strlen(text.get()), 5000u);
}

TEST(Text, MovesAndReleases) {
  Text one;
  kelvane::text_copy(&one, "one");
  Text two(std::move(one));
  Text three;
  kelvane::text_copy(&three, "three");
  three = std::move(two);
  EXPECT_STREQ(three.get(), "one");
  Text &alias = three;
  three = std::move(alias);
  EXPECT_STREQ(three.get(), "one") << "moved onto itself";
  char *given = three.release();
  EXPECT_FALSE(three.present());
  EXPECT_STREQ(Text::adopt(given).get(), "one");
}

TEST(Text, WipedIsAbsent) {
  Text text;
  kelvane::text_copy(&text, "secret");
  text.wipe();
  EXPECT_FALSE(text.present());
  text.wipe();
}

TEST(Text, PlaceholderStandsForNull) {
  EXPECT_STREQ(kelvane::text_or("a", "none"), "a");
  EXPECT_STREQ(kelvane::text_or(nullptr, "none"), "none");
}

TEST(Text, WipedMemoryIsZero) {
  char secret[] = "secret";
  kelvane::wipe_memory(secret, sizeof secret);
  EXPECT_EQ(std::string(secret, sizeof secret), std::string(7, '\0'));
}

TEST(TextReplace, FreesWhatTheSlotHeldAndCopies) {
  char *slot = nullptr;
  kelvane::text_replace(&slot, "one");
  EXPECT_STREQ(slot, "one");
  kelvane::text_replace(&slot, "another");
  EXPECT_STREQ(slot, "another");
  kelvane::text_replace(&slot, nullptr);
  EXPECT_EQ(slot, nullptr);
}

TEST(TextReplace, WithoutMemoryTheSlotIsEmptyAndItSaysSo) {
  char *slot = nullptr;
  EXPECT_EQ(kelvane::text_replace(&slot, "one"), 0);
  const std::string large(1700, 'x');
  const refused_memory::Refusal refusal(1701);
  EXPECT_EQ(kelvane::text_replace(&slot, large.c_str()), -1);
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(kelvane::text_replace(&slot, nullptr), 0);
}

TEST(TextField, IsTerminatedAndZeroBehind) {
  char field[8];
  memset(field, 'x', sizeof field);
  EXPECT_EQ(kelvane::text_copy_field(field, "abc"), 3u);
  EXPECT_EQ(std::string(field, 8), std::string("abc\0\0\0\0\0", 8));
}

TEST(TextField, CutsWhatDoesNotFit) {
  char field[4];
  EXPECT_EQ(kelvane::text_copy_field(field, "abc"), 3u);
  EXPECT_EQ(kelvane::text_copy_field(field, "abcd"), 3u);
  EXPECT_STREQ(field, "abc");
}

TEST(TextField, NeverSplitsACharacter) {
  char field[5];
  EXPECT_EQ(kelvane::text_copy_field(field, "abc\xC3\xA4"), 3u);
  EXPECT_STREQ(field, "abc");
  EXPECT_EQ(kelvane::text_copy_field(field, "ab\xC3\xA4z"), 4u);
  EXPECT_STREQ(field, "ab\xC3\xA4");
  EXPECT_EQ(kelvane::text_copy_field(field, "a\xF0\x9F\x98\x80"), 1u);
  EXPECT_STREQ(field, "a");
}

TEST(TextField, StrayContinuationBytesCostAtMostThree) {
  char field[8];
  EXPECT_EQ(kelvane::text_copy_field(field, "\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80"), 4u);
  char small[3];
  EXPECT_EQ(kelvane::text_copy_field(small, "\x80\x80\x80"), 0u);
  EXPECT_EQ(std::string(small, 3), std::string(3, '\0'));
}

TEST(TextField, NullEmptiesItAndSizeZeroIsNothing) {
  char field[4] = "abc";
  EXPECT_EQ(kelvane::text_copy_field(field, nullptr), 0u);
  EXPECT_EQ(std::string(field, 4), std::string(4, '\0'));
  EXPECT_EQ(kelvane::text_copy_field(field, 0, "abc"), 0u);
}

}  // namespace
