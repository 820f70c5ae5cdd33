// The metadata service's documents, as texts. Called by the metadata service; pure functions of the goal state and the
// tenant. Nothing blocks; CryptoError when a secret part cannot be made.
#ifndef KELVANE_TOOLS_FABRIC_METADATA_DOCUMENTS_H
#define KELVANE_TOOLS_FABRIC_METADATA_DOCUMENTS_H

#include <string>

#include "tools/fabric/tenant.h"

namespace kelvane::fabric {

inline constexpr char kMetadataHost[] = "169.254.169.254";
inline constexpr char kMetadataQuery[] = "api-version=2015-05-01-preview";

// All of them are for a goal state that has the service.
std::string identity_document(const MetadataSpec &metadata);
std::string agent_versions_document(const MetadataSpec &metadata);
std::string certificate_list_document(const GoalStateSpec &state, const Tenant &tenant);
// `transport` is the certificate that the agent sent last.
std::string extension_handlers_document(const GoalStateSpec &state, const Tenant &tenant, X509 *transport);

// How many documents the list of certificates names, and the one with that number, from 1 on.
size_t certificate_document_count(const GoalStateSpec &state, const Tenant &tenant);
std::string certificate_document(const GoalStateSpec &state, const Tenant &tenant, size_t number, X509 *recipient);

}  // namespace kelvane::fabric

#endif
