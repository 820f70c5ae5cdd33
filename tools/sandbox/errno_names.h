// Names of errno values, both ways. A table; never blocks.
#ifndef KELVANE_TOOLS_SANDBOX_ERRNO_NAMES_H
#define KELVANE_TOOLS_SANDBOX_ERRNO_NAMES_H

#include <string>

namespace sandbox {

// "ENOENT" for ENOENT; the number for a value that is not in the table.
std::string errno_name(int value);

// The value of a name, or of a number written out; 0 for anything else.
int errno_value(const std::string &name);

}  // namespace sandbox

#endif
