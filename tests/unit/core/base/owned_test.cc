#include "core/base/owned.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

std::vector<int> released;

void release(int *object) {
  released.push_back(*object);
}

using Owner = kelvane::Owned<int, release>;
using Numbers = std::vector<int>;

class OwnedTest : public ::testing::Test {
 protected:
  OwnedTest() { released.clear(); }

  int one_ = 1;
  int two_ = 2;
};

TEST_F(OwnedTest, ReleasesWhatItHoldsOnceWhenItGoes) {
  {
    const Owner none;
    const Owner owner(&one_);
    EXPECT_FALSE(none.present());
    EXPECT_TRUE(owner.present());
    EXPECT_EQ(owner.get(), &one_);
  }
  EXPECT_EQ(released, Numbers{1});
}

TEST_F(OwnedTest, MovesWithoutReleasing) {
  {
    Owner first(&one_);
    Owner second(std::move(first));
    EXPECT_FALSE(first.present());
    EXPECT_EQ(second.get(), &one_);
    EXPECT_EQ(released, Numbers{});
  }
  EXPECT_EQ(released, Numbers{1});
}

TEST_F(OwnedTest, AssignmentReleasesWhatWasHeldBefore) {
  {
    Owner first(&one_);
    Owner second(&two_);
    second = std::move(first);
    EXPECT_FALSE(first.present());
    EXPECT_EQ(released, Numbers{2});
    Owner &alias = second;
    second = std::move(alias);
    EXPECT_EQ(second.get(), &one_) << "moved onto itself";
  }
  EXPECT_EQ(released, (Numbers{2, 1}));
}

TEST_F(OwnedTest, WhatIsGivenAwayIsNotReleased) {
  {
    Owner owner(&one_);
    EXPECT_EQ(owner.release(), &one_);
    EXPECT_FALSE(owner.present());
    EXPECT_EQ(owner.release(), nullptr);
  }
  EXPECT_EQ(released, Numbers{});
}

TEST_F(OwnedTest, ResetReplacesAndKeepsTheSameObject) {
  Owner owner(&one_);
  owner.reset(&one_);
  EXPECT_EQ(released, Numbers{}) << "the same object stays";
  owner.reset(&two_);
  EXPECT_EQ(released, Numbers{1});
  owner.reset();
  EXPECT_FALSE(owner.present());
  EXPECT_EQ(released, (Numbers{1, 2}));
}

}  // namespace
