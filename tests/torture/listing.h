// What lies below an appliance's root: a name that is too many or lacks is a difference like another one. Blocks for as
// long as the disk does; throws std::runtime_error.
#ifndef KELVANE_TESTS_TORTURE_LISTING_H
#define KELVANE_TESTS_TORTURE_LISTING_H

#include <string>

#include "tests/scenario/run/appliance.h"

namespace torture {

// A folder is an object with its names; everything else a text: "file", "link to TARGET", "other".
scenario::Json names_below(const std::string &folder);

}  // namespace torture

#endif
