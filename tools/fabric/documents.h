// The wire server's documents, as texts. Called by the wire server; pure functions of the scenario and the tenant.
// Nothing blocks; CryptoError when a secret part cannot be made.
#ifndef KELVANE_TOOLS_FABRIC_DOCUMENTS_H
#define KELVANE_TOOLS_FABRIC_DOCUMENTS_H

#include <string>

#include "tools/fabric/tenant.h"

namespace kelvane::fabric {

// The ten values of a goal state, by the name of their element.
struct GoalStateValue {
  std::string element;
  std::string value;
};

// All ten, in the order of the document; `host` stands in the URIs.
std::vector<GoalStateValue> goal_state_values(const GoalStateSpec &state, const std::string &host);

std::string versions_document();
std::string goal_state_document(const GoalStateSpec &state, const std::string &host);
std::string hosting_environment_document(const GoalStateSpec &state);
std::string shared_config_document(const GoalStateSpec &state);
// `data` is base64 on one line.
std::string certificates_document(const GoalStateSpec &state, const DataLinesSpec &lines, const std::string &data);
// `transport` is the certificate that the agent sent last, or none; CryptoError when the settings need it.
std::string extensions_document(const GoalStateSpec &state, const Tenant &tenant, X509 *transport);

// `document` without its elements of that name, opening tag to closing tag.
std::string without_element(std::string document, const std::string &element);

}  // namespace kelvane::fabric

#endif
