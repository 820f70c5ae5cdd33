// The dearest inputs that the caps of the agent's parsers let through, as far as we know them: what a replay measures.
#ifndef KELVANE_TESTS_FUZZ_WORST_SEEDS_H
#define KELVANE_TESTS_FUZZ_WORST_SEEDS_H

#include <map>
#include <string>

namespace fuzz {

// By "target/name".
std::map<std::string, std::string> worst_seeds();

// A JSON object with so many members, each with this value.
std::string members(size_t count, const std::string &value);

}  // namespace fuzz

#endif
