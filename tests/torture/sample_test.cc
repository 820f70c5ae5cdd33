#include "tests/torture/sample.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

namespace torture {
namespace {

// Calls of every kind that has blows of its own, several of each.
std::vector<Strike> all_strikes(bool kill) {
  const std::map<std::string, std::vector<std::string>> calls = {
      {"memory", {"malloc(a)"}},
      {"file", {"open(/a)", "access(/a)", "mkdir(/a)", "rename(/a)"}},
      {"bytes", {"read(/a)", "write(/a)", "fstat(/a)", "sync()"}},
      {"system", {"mount(udf)", "tzset()"}},
      {"platform", {"conf_init()", "cmf_query_free(440)", "cmf_write_config(1)"}},
      {"request", {"request(http://10.0.0.1/)"}},
      {"database", {"read(db)", "write(db)", "sync(db)"}},
      {"inside", {"open(/a)", "write(/a)"}},
      {"closing", {"write(db)", "delete(db)"}}};
  std::vector<Strike> out;
  for (const char *protocol : {"wire", "metadata", "wire-restart", "metadata-restart"}) {
    const bool is_restart = std::strchr(protocol, '-') != nullptr;
    std::vector<Site> sites;
    for (const auto &[call_class, names] : calls) {
      if (is_restart && call_class == "closing") {
        continue;  // it is struck up to its second pass only
      }
      for (size_t number = 1; number <= 12; ++number) {
        sites.push_back({call_class, number, names[number % names.size()]});
      }
    }
    const std::vector<Strike> more = strikes_of(protocol, sites, kill);
    out.insert(out.end(), more.begin(), more.end());
  }
  return out;
}

struct Names {
  std::set<std::string> classes, blows, addresses;
};

Names names_of(const std::vector<Strike> &strikes) {
  Names out;
  for (const Strike &strike : strikes) {
    out.classes.insert(strike.protocol + "/" + strike.site.call_class);
    out.blows.insert(strike.blow);
    out.addresses.insert(strike.address());
  }
  return out;
}

// As many as every test run plays: tests/torture/CMakeLists.txt.
constexpr size_t kOfATestRun = 56;

TEST(Sample, OfATestRunHasEveryClassAndEveryBlow) {
  for (const bool kill : {false, true}) {
    const std::vector<Strike> all = all_strikes(kill);
    const Names wanted = names_of(all);
    EXPECT_EQ(wanted.classes.size(), 34U);
    EXPECT_EQ(wanted.blows.size(), kill ? 5U : 23U);
    for (unsigned seed = 1; seed <= 20; ++seed) {
      const Names names = names_of(sample(all, kOfATestRun, seed));
      EXPECT_EQ(names.addresses.size(), kOfATestRun);
      EXPECT_EQ(names.classes, wanted.classes) << "seed " << seed;
      EXPECT_EQ(names.blows, wanted.blows) << "seed " << seed;
    }
  }
}

TEST(Sample, IsTheSameForTheSameSeedOnly) {
  const std::vector<Strike> all = all_strikes(false);
  EXPECT_EQ(names_of(sample(all, 40, 7)).addresses, names_of(sample(all, 40, 7)).addresses);
  EXPECT_NE(names_of(sample(all, 40, 7)).addresses, names_of(sample(all, 40, 8)).addresses);
}

TEST(Sample, OfMoreThanThereAreIsAll) {
  const std::vector<Strike> all = all_strikes(true);
  EXPECT_EQ(names_of(sample(all, all.size() + 5, 1)).addresses, names_of(all).addresses);
}

}  // namespace
}  // namespace torture
