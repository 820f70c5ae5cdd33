// Texts that a scenario describes instead of writing them out: repeated, joined, or in base64. Used on the whole file,
// before anybody reads it, by the fabric and by the scenario runner. Nothing blocks; a bad description throws
// ScenarioError.
#ifndef KELVANE_TOOLS_FABRIC_MADE_TEXTS_H
#define KELVANE_TOOLS_FABRIC_MADE_TEXTS_H

#include <nlohmann/json.hpp>

namespace kelvane::fabric {

// The same value, but in place of every object of a single member {"repeat": [TEXT, N]}, {"join": [TEXT, ...]} or
// {"base64Of": VALUE} the text that it describes. TEXT may be described too; a VALUE that is no text stands for its
// JSON.
nlohmann::ordered_json with_made_texts(const nlohmann::ordered_json &value);

}  // namespace kelvane::fabric

#endif
