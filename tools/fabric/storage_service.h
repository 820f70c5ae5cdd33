// The storage service that holds the status blob: block blobs and page blobs under signed addresses. A row of the
// service table. Nothing blocks. What a write changes, it changes when its answer has reached the agent whole.
#ifndef KELVANE_TOOLS_FABRIC_STORAGE_SERVICE_H
#define KELVANE_TOOLS_FABRIC_STORAGE_SERVICE_H

#include "tools/fabric/services.h"

namespace kelvane::fabric {

// Every host that the scenario names in a status blob's address or among the storage hosts.
bool storage_service_claims(const World &world, const Target &target);

Answer storage_service_serve(World &world, const Request &request, const Target &target, Judgement &judgement);

}  // namespace kelvane::fabric

#endif
