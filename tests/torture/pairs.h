// Pairs of kills, one in a start and one in the start that follows, and strikes by their addresses.
#ifndef KELVANE_TESTS_TORTURE_PAIRS_H
#define KELVANE_TESTS_TORTURE_PAIRS_H

#include <cstddef>
#include <string>
#include <vector>

#include "tests/torture/strike.h"

namespace torture {

// Of kills, about one in so many, each with another one in the start that follows: both by lots that hang on their
// addresses alone, so that a kill more or less changes hardly any other pair.
std::vector<Strike> twice(const std::vector<Strike> &all, size_t every);

// Those of all with these addresses, with commas between; a pair is any two kills of one protocol, whether or not twice
// draws it. Throws std::runtime_error for an address that none of them has.
std::vector<Strike> with_addresses(const std::vector<Strike> &all, const std::string &addresses);

}  // namespace torture

#endif
