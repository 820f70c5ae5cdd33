// Some strikes in the place of all of them. Nothing here blocks.
#ifndef KELVANE_TESTS_TORTURE_SAMPLE_H
#define KELVANE_TESTS_TORTURE_SAMPLE_H

#include <vector>

#include "tests/torture/strike.h"

namespace torture {

// So many of them, the same ones in the same order for the same seed: evenly from the classes of each protocol and from
// the blows, so that a small sample has each of these once before it has one twice. Which site a blow falls on is by
// chance.
std::vector<Strike> sample(const std::vector<Strike> &all, size_t count, unsigned seed);

}  // namespace torture

#endif
