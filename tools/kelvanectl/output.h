// How results are shown: as JSON for scripts, else as "name: value" lines. Lists become blocks with an empty line
// between them; a value that is an object or list is indented below its name.
#ifndef KELVANE_TOOLS_KELVANECTL_OUTPUT_H
#define KELVANE_TOOLS_KELVANECTL_OUTPUT_H

#include <string>

#include "tools/kelvanectl/fields.h"

namespace kelvanectl {

std::string as_text(const Json &value);
std::string as_json(const Json &value);

}  // namespace kelvanectl

#endif
