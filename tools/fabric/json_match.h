// Compares a JSON document with an expected one in which some texts stand for anything of a kind. For the expectations
// alone; pure, nothing blocks, nothing throws.
#ifndef KELVANE_TOOLS_FABRIC_JSON_MATCH_H
#define KELVANE_TOOLS_FABRIC_JSON_MATCH_H

#include <string>

namespace kelvane::fabric {

// How strictly objects are compared: all members in their order, or those alone that the expected object names.
enum class Members { kAll, kNamed };

// Why `text` is not the expected document: the place, what was expected, what came; empty when it is. In the expected
// document "<any>" stands for any value, "<text>" for a text, "<n>" for a whole number, and "<time>" for a UTC time
// like "2026-01-31T12:00:00Z". `expected` is JSON.
std::string json_mismatch(const std::string &expected, const std::string &text, Members members);

}  // namespace kelvane::fabric

#endif
