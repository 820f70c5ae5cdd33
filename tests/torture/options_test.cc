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

}  // namespace
}  // namespace torture
