// Names for places in a program: the functions that led to a call. Needs addr2line, which comes with every compiler,
// and blocks for as long as it takes; throws std::runtime_error when it cannot be run.
#ifndef KELVANE_TESTS_TORTURE_PLACES_H
#define KELVANE_TESTS_TORTURE_PLACES_H

#include <string>
#include <vector>

#include "tests/torture/strike.h"

namespace torture {

// Gives the sites of memory names that stay when the program is built anew: "malloc(240 at 0x1a2b < 0x3c4d)" becomes
// "malloc(text_format < wire_date_header)". An address keeps the name that it was given first in this process: what
// addr2line says of a function that was put inline hangs on the other addresses that it is asked for.
void name_places(const std::string &program, std::vector<Site> &sites);

}  // namespace torture

#endif
