#include "tests/torture/options.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace torture {
namespace {

// Not all strikes, as a script would get whose variable is not set.
TEST(Options, AnEmptyValueIsAnError) {
  for (const char *option : {"--only", "--class", "--protocol", "--state"}) {
    char program[] = "kelvane-torture", empty[] = "";
    std::string name = option;
    char *arguments[] = {program, name.data(), empty, nullptr};
    EXPECT_THROW(read_options(3, arguments), std::runtime_error) << option;
  }
}

Options read(const std::string &option, const std::string &value) {
  std::string program = "kelvane-torture", name = option, given = value;
  char *arguments[] = {program.data(), name.data(), given.data(), nullptr};
  return read_options(3, arguments);
}

// Not without end, and not the first strike for ever.
TEST(Options, ANumberIsDigitsAndNotLessThanItsLeast) {
  EXPECT_EQ(read("--workers", "2").workers, 2U);
  EXPECT_EQ(read("--seed", "0").seed, 0U);
  for (const char *option : {"--workers", "--sample", "--from", "--to", "--minutes"}) {
    for (const char *value : {"0", "-1", "12abc", "a", " 1", "99999999999999999999"}) {
      EXPECT_THROW(read(option, value), std::runtime_error) << option << " " << value;
    }
  }
}

// Not silently less than was asked for.
TEST(Options, ANameThatNoStrikeHasIsAnError) {
  const std::vector<Strike> all = {{"wire", {"file", 1, "open(/a)"}, "EIO", ""},
                                   {"wire", {"bytes", 1, "read(/a)"}, "SHORT", ""}};
  EXPECT_EQ(read("--class", "file,bytes").wanted(all).size(), 2U);
  EXPECT_EQ(read("--blow", "SHORT").wanted(all).size(), 1U);
  EXPECT_THROW(read("--class", "file,byte").wanted(all), std::runtime_error);
  EXPECT_THROW(read("--blow", "EIO,SHOT").wanted(all), std::runtime_error);
}

}  // namespace
}  // namespace torture
