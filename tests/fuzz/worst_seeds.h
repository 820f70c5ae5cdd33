// The dearest inputs that the caps of the agent's parsers let through, as far as we know them: what a replay measures.
#ifndef KELVANE_TESTS_FUZZ_WORST_SEEDS_H
#define KELVANE_TESTS_FUZZ_WORST_SEEDS_H

#include <map>
#include <string>

namespace fuzz {

// By "target/name".
std::map<std::string, std::string> worst_seeds();

}  // namespace fuzz

#endif
