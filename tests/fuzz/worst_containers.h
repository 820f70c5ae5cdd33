// The dearest of the containers and messages that the agent opens: a store filled to its last record, long messages,
// and what makes the library compute. Made for the keys of the fuzz targets; some seconds of work.
#ifndef KELVANE_TESTS_FUZZ_WORST_CONTAINERS_H
#define KELVANE_TESTS_FUZZ_WORST_CONTAINERS_H

#include <map>
#include <string>

namespace fuzz {

// As worst_seeds(); fuzz::start() was called before.
std::map<std::string, std::string> worst_containers();

}  // namespace fuzz

#endif
