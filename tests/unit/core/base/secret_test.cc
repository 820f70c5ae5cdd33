// Secrets are overwritten before their memory is given back: the overwriting and the allocation are watched here.
#include "core/base/secret.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>
#include <vector>

#include "tests/support/watched_memory.h"

extern "C" {
void *__real_calloc(size_t count, size_t size);
void *__wrap_calloc(size_t count, size_t size);
}

namespace {

using watched_memory::wiped;

bool no_memory = false;

}  // namespace

void *__wrap_calloc(size_t count, size_t size) {
  return no_memory ? nullptr : __real_calloc(count, size);
}

namespace {

using kelvane::Secret;
using Contents = std::vector<std::string>;

class SecretTest : public ::testing::Test {
 protected:
  SecretTest() { wiped.clear(); }
  ~SecretTest() override { no_memory = false; }

  static void fill(Secret *secret, const std::string &bytes) {
    ASSERT_EQ(secret->allocate(bytes.size()), 0);
    memcpy(secret->bytes(), bytes.data(), bytes.size());
  }
};

TEST_F(SecretTest, HoldsNothingAtFirst) {
  Secret secret;
  EXPECT_EQ(secret.bytes(), nullptr);
  EXPECT_EQ(secret.size(), 0u);
  secret.reset();
  EXPECT_EQ(wiped, Contents{});
}

TEST_F(SecretTest, IsZeroedWhenMade) {
  Secret secret;
  ASSERT_EQ(secret.allocate(4), 0);
  EXPECT_EQ(secret.size(), 4u);
  EXPECT_EQ(std::string(secret.text(), 4), std::string(4, '\0'));
}

TEST_F(SecretTest, IsWipedWholeWhenItEnds) {
  const std::string bytes("se\0cret", 7);
  {
    Secret secret;
    fill(&secret, bytes);
  }
  EXPECT_EQ(wiped, Contents{bytes});
}

TEST_F(SecretTest, IsWipedBeforeItIsReplaced) {
  Secret secret;
  fill(&secret, "first");
  ASSERT_EQ(secret.allocate(2), 0);
  EXPECT_EQ(wiped, Contents{"first"});
  EXPECT_EQ(secret.size(), 2u);
  secret.reset();
  EXPECT_EQ(secret.bytes(), nullptr);
  EXPECT_EQ(secret.size(), 0u);
}

TEST_F(SecretTest, WithoutMemoryNothingIsHeldAndTheOldOneIsWiped) {
  Secret secret;
  fill(&secret, "first");
  no_memory = true;
  EXPECT_EQ(secret.allocate(5), -1);
  no_memory = false;
  EXPECT_EQ(secret.bytes(), nullptr);
  EXPECT_EQ(secret.size(), 0u);
  EXPECT_EQ(wiped, Contents{"first"});
}

TEST_F(SecretTest, ATextIsOverwrittenBeforeItIsFreed) {
  kelvane::Text text;
  ASSERT_EQ(kelvane::text_copy(&text, "secret"), 0);
  text.wipe();
  EXPECT_EQ(wiped, Contents{"secret"});
  EXPECT_FALSE(text.present());
  text.wipe();
  EXPECT_EQ(wiped.size(), 1u);
}

}  // namespace
