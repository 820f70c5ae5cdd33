// One thing that was expected, and how it came out.
#ifndef KELVANE_TOOLS_DEMO_CHECK_H
#define KELVANE_TOOLS_DEMO_CHECK_H

#include <string>
#include <vector>

namespace demo {

struct Check {
  std::string name;
  bool held;
  std::string explanation;  // why not
};

using Checks = std::vector<Check>;

}  // namespace demo

#endif
