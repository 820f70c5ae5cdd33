#include "tests/torture/pairs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <stdexcept>

namespace torture {
namespace {

using testing::ElementsAre;

// Pairs of them are drawn and named.
std::vector<Strike> kills_of(const std::string &protocol, size_t count) {
  std::vector<Site> sites;
  for (size_t number = 1; number <= count; ++number) {
    sites.push_back({"memory", number, "malloc(a)"});
  }
  return strikes_of(protocol, sites, true);
}

std::vector<std::string> addresses_of(const std::vector<Strike> &strikes) {
  std::vector<std::string> out;
  for (const Strike &strike : strikes) {
    out.push_back(strike.address());
  }
  return out;
}

TEST(Pairs, AKillMoreChangesHardlyAnyPair) {
  const std::vector<std::string> before = addresses_of(twice(kills_of("wire", 400), 10));
  const std::vector<std::string> now = addresses_of(twice(kills_of("wire", 401), 10));
  EXPECT_GT(before.size(), 25U);
  EXPECT_LT(before.size(), 60U);
  EXPECT_EQ(before, addresses_of(twice(kills_of("wire", 400), 10)));
  size_t same = 0;
  for (const std::string &address : before) {
    same += static_cast<size_t>(std::count(now.begin(), now.end(), address));
  }
  EXPECT_GE(same + 2, before.size());
}

TEST(Pairs, PairsHaveManySeconds) {
  std::set<std::string> seconds;
  for (const Strike &pair : twice(kills_of("wire", 400), 10)) {
    seconds.insert(pair.second);
  }
  EXPECT_GT(seconds.size(), 20U);
}

TEST(Pairs, WhatIsAskedForByItsAddressIsOfAnyKind) {
  std::vector<Strike> all = kills_of("wire", 3);
  all.push_back({"wire", {"file", 12, "open(/a)"}, "EIO", ""});
  const std::string list = "wire/memory/3/KILL,wire/file/12/EIO,wire/memory/1/KILL@memory:2:KILL";
  const std::vector<Strike> named = with_addresses(all, list);
  EXPECT_THAT(addresses_of(named),
              ElementsAre("wire/memory/3/KILL", "wire/file/12/EIO", "wire/memory/1/KILL@memory:2:KILL"));
  EXPECT_EQ(named[2].second_fault(), "memory::KILL:2");
  EXPECT_EQ(named[1].site.call, "open(/a)");
}

// Which address there is not; empty when there are all.
std::string unknown_of(const std::string &addresses) {
  std::vector<Strike> all = kills_of("wire", 3);
  all.push_back({"wire", {"file", 12, "open(/a)"}, "EIO", ""});
  try {
    with_addresses(all, addresses);
  } catch (const std::runtime_error &error) {
    return error.what();
  }
  return "";
}

TEST(Pairs, AnAddressThatThereIsNotIsRefused) {
  EXPECT_EQ(unknown_of("wire/memory/1/KILL"), "");
  EXPECT_EQ(unknown_of("wire/memory/1/KILL,wire/file/999/EIO"), "there is no strike wire/file/999/EIO");
  EXPECT_EQ(unknown_of("metadata/memory/1/KILL"), "there is no strike metadata/memory/1/KILL");
  EXPECT_EQ(unknown_of("wire/memory/1/KILL@memory:9:KILL"), "there is no strike wire/memory/1/KILL@memory:9:KILL");
  EXPECT_EQ(unknown_of("wire/memory/1/KILL@file:12:EIO"), "there is no strike wire/memory/1/KILL@file:12:EIO")
      << "the second is no kill";
  EXPECT_EQ(unknown_of("wire/file/12/EIO@memory:1:KILL"), "there is no strike wire/file/12/EIO@memory:1:KILL")
      << "the first is no kill";
}

}  // namespace
}  // namespace torture
