// The differences that are meant to stay after a strike: the agent does one thing after the other as it is told to,
// goes on after certain failures, and marks the appliance as provisioned all the same. Each row says which strikes,
// which places of the outcome, and why; a row that fits nothing any more is to go. Nothing here blocks.
#ifndef KELVANE_TESTS_TORTURE_PRESCRIBED_H
#define KELVANE_TESTS_TORTURE_PRESCRIBED_H

#include <string>
#include <vector>

#include "tests/torture/strike.h"

namespace torture {

// Shell patterns; those of the strikes are for "CLASS BLOW CALL".
struct Prescribed {
  std::vector<const char *> strikes;
  std::vector<const char *> places;
  const char *why;
};

// The row by which this place may differ after this strike; null when it may not.
const Prescribed *prescribed_difference(const Strike &strike, const std::string &place);

// Why the run may end with this status; null when it may not.
const char *prescribed_exit(const Strike &strike, int status);

}  // namespace torture

#endif
