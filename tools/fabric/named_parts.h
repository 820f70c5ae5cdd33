// Pieces that a scenario writes once, under names, and uses in many places: an extension that many goal states list,
// for instance. Used on the whole file, before anybody else reads it, by every program that reads scenarios. Nothing
// blocks; a name that nothing has throws ScenarioError.
#ifndef KELVANE_TOOLS_FABRIC_NAMED_PARTS_H
#define KELVANE_TOOLS_FABRIC_NAMED_PARTS_H

#include <nlohmann/json.hpp>

namespace kelvane::fabric {

// The same scenario without its "parts" (an object of names and values), and with the value in place of every
// {"part": NAME}. Values hold no such places themselves.
nlohmann::ordered_json with_named_parts(const nlohmann::ordered_json &scenario);

}  // namespace kelvane::fabric

#endif
