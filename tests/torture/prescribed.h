// The differences that are meant to stay after a strike: the agent does one thing after the other as it is told to,
// goes on after certain failures, and marks the appliance as provisioned all the same. Each row says which strikes,
// which places of the outcome, and why; a row that fits nothing any more is to go. Nothing here blocks.
#ifndef KELVANE_TESTS_TORTURE_PRESCRIBED_H
#define KELVANE_TESTS_TORTURE_PRESCRIBED_H

#include <string>

#include "tests/torture/strike.h"

namespace torture {

// Why this place may differ after this strike; null when it may not.
const char *prescribed_difference(const Strike &strike, const std::string &place);

// Why the run may end with this status; null when it may not.
const char *prescribed_exit(const Strike &strike, int status);

}  // namespace torture

#endif
