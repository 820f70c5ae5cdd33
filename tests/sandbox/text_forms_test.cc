#include "tools/sandbox/text_forms.h"

#include <gtest/gtest.h>

namespace sandbox {
namespace {

TEST(TextForms, ALogLineStaysOnOneLine) {
  EXPECT_EQ(escaped("a\nb\r\tc\\d\x01\x7f\"e\""), "a\\nb\\r\\tc\\\\d\\x01\\x7f\"e\"");
}

TEST(TextForms, QuotesAreEscapedInsideQuotes) {
  EXPECT_EQ(quoted("a\"b\n"), "\"a\\\"b\\n\"");
  EXPECT_EQ(quoted(nullptr), "null");
}

}  // namespace
}  // namespace sandbox
