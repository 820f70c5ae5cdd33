// The documents of the wire server, rendered from a revision. Kept rendered, as most requests are for the same two.
#ifndef KELVANE_TESTS_SIMULATE_DOCUMENTS_H
#define KELVANE_TESTS_SIMULATE_DOCUMENTS_H

#include <string>

#include "tests/simulate/world.h"

namespace simulate {

const std::string &goal_state_document(const Revision &revision);
const std::string &extensions_document(const Revision &revision);
const std::string &certificates_document();
const std::string &versions_document();

// Standard base64 with padding.
std::string base64(const std::string &bytes);

}  // namespace simulate

#endif
