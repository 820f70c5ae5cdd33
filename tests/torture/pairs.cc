#include "tests/torture/pairs.h"

#include <algorithm>
#include <functional>
#include <sstream>
#include <stdexcept>

namespace torture {
namespace {

// As good as chance, and the same for the same text in every play.
size_t lot(const std::string &text) {
  return std::hash<std::string>()(text);
}

// "platform:12:KILL"
std::string as_second(const Strike &strike) {
  return strike.site.call_class + ":" + std::to_string(strike.site.number) + ":" + strike.blow;
}

Strike pair_of(Strike first, const Strike &second) {
  first.second = as_second(second);
  return first;
}

// Null for none.
template <typename Which>
const Strike *find(const std::vector<Strike> &all, Which &&which) {
  const auto found = std::find_if(all.begin(), all.end(), which);
  return found != all.end() ? &*found : nullptr;
}

}  // namespace

std::vector<Strike> twice(const std::vector<Strike> &all, size_t every) {
  std::vector<Strike> out;
  for (const Strike &first : all) {
    if (lot(first.address()) % every != 0) {
      continue;
    }
    const auto second = std::max_element(all.begin(), all.end(), [&](const Strike &one, const Strike &other) {
      return lot(first.address() + as_second(one)) < lot(first.address() + as_second(other));
    });
    out.push_back(pair_of(first, *second));
  }
  return out;
}

std::vector<Strike> with_addresses(const std::vector<Strike> &all, const std::string &addresses) {
  std::vector<Strike> out;
  std::istringstream list(addresses);
  for (std::string address; std::getline(list, address, ',');) {
    const size_t at = address.find('@');
    const Strike *first = find(all, [&](const Strike &one) { return one.address() == address.substr(0, at); });
    const Strike *second = at == std::string::npos || first == nullptr ? nullptr : find(all, [&](const Strike &one) {
      return one.protocol == first->protocol && one.kills() && as_second(one) == address.substr(at + 1);
    });
    if (first == nullptr || (at != std::string::npos && (second == nullptr || !first->kills()))) {
      throw std::runtime_error("there is no strike " + address);
    }
    out.push_back(second != nullptr ? pair_of(*first, *second) : *first);
  }
  return out;
}

}  // namespace torture
