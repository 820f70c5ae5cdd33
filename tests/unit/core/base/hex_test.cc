#include "core/base/hex.h"

#include <gtest/gtest.h>

namespace {

TEST(Hex, IsUppercaseHighNibbleFirst) {
  const uint8_t bytes[] = {0x00, 0x0F, 0xA5, 0xFF};
  char out[] = "?????????";
  kelvane::hex_upper(bytes, 4, out);
  EXPECT_STREQ(out, "000FA5FF");
}

TEST(Hex, NothingIsTheEmptyText) {
  char out[] = "x";
  kelvane::hex_upper(nullptr, 0, out);
  EXPECT_STREQ(out, "");
}

}  // namespace
