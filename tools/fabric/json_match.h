// Compares a JSON document with an expected one in which some texts stand for anything of a kind. For the expectations
// alone; pure, nothing blocks, nothing throws.
#ifndef KELVANE_TOOLS_FABRIC_JSON_MATCH_H
#define KELVANE_TOOLS_FABRIC_JSON_MATCH_H

#include <optional>
#include <string>

namespace kelvane::fabric {

// How strictly objects are compared: all members in their order, or those alone that the expected object names.
enum class Members { kAll, kNamed };

// Where a document is not the expected one: "$.a[0].b", or nothing when it is no JSON at all.
struct JsonMismatch {
  std::string where;
  std::string expected;
  std::string came;
};

// The first place at which `text` is not the expected document; none when it is. In the expected document "<any>"
// stands for any value, "<text>" for a text, "<n>" for a whole number, "<digits>" for a text of decimal digits,
// "<time>" for a UTC time like "2026-01-31T12:00:00Z", and a list ["<each>", VALUE] for any number of such values. No
// object of `text` may have a member twice. `expected` is JSON.
std::optional<JsonMismatch> find_json_mismatch(const std::string &expected, const std::string &text, Members members);

// The same as a sentence; empty when it is the expected document.
std::string json_mismatch(const std::string &expected, const std::string &text, Members members);

}  // namespace kelvane::fabric

#endif
