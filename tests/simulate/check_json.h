// What the checks of documents share: reading by another library than the agent's, comparing, and telling what differs.
#ifndef KELVANE_TESTS_SIMULATE_CHECK_JSON_H
#define KELVANE_TESTS_SIMULATE_CHECK_JSON_H

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "tests/simulate/expectation.h"

namespace simulate {

using Json = nlohmann::json;

// Breaks off when the bytes are no JSON, when the two differ.
Json parse_json(const char *what, std::string_view bytes);
void same_json(const std::string &what, const Json &is, const Json &should);

// The text, at most so many bytes of it.
std::string cut(const char *text, size_t length);

// Whether a plugin tells a status for what is wanted: it is of that version.
bool has_status(const Wanted &wanted, const Expected &plugin);

}  // namespace simulate

#endif
