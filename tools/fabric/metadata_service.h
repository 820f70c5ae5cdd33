// The instance metadata service: identity, certificates, extension handlers and versions as JSON, and the reports it
// takes. A row of the service table. Nothing blocks; CryptoError when a document's secret part cannot be made.
#ifndef KELVANE_TOOLS_FABRIC_METADATA_SERVICE_H
#define KELVANE_TOOLS_FABRIC_METADATA_SERVICE_H

#include "tools/fabric/services.h"

namespace kelvane::fabric {

// Its one address, when the goal state has the service.
bool metadata_service_claims(const World &world, const Target &target);

Answer metadata_service_serve(World &world, const Request &request, const Target &target, Judgement &judgement);

}  // namespace kelvane::fabric

#endif
