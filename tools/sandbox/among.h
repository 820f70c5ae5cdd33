// Whether a name is in a list.
#ifndef KELVANE_TOOLS_SANDBOX_AMONG_H
#define KELVANE_TOOLS_SANDBOX_AMONG_H

#include <algorithm>
#include <string>

namespace sandbox {

template <typename Names>
bool among(const Names &names, const std::string &name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace sandbox

#endif
