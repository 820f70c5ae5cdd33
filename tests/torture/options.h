// What kelvane-torture is asked to do. Throws std::runtime_error, with the usage or with what is wrong as its words,
// for what it cannot read.
#ifndef KELVANE_TESTS_TORTURE_OPTIONS_H
#define KELVANE_TESTS_TORTURE_OPTIONS_H

#include <cstddef>
#include <string>
#include <vector>

#include "tests/torture/bench.h"

namespace torture {

struct Options {
  Programs programs;
  bool kill = false, twice = false, list = false;
  std::string protocol, classes, blows, only, state, artifacts;
  size_t from = 1, to = static_cast<size_t>(-1), sample = 0, workers = 1;
  unsigned seed = 1;
  double minutes = 1e9;

  // Whether all that there is to play is played, but for the time.
  bool whole() const;
  // Those that are asked for. Throws std::runtime_error for an address, a class or a blow that none of all has.
  std::vector<Strike> wanted(const std::vector<Strike> &all) const;
};

Options read_options(int argc, char **argv);

}  // namespace torture

#endif
