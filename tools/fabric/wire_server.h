// The wire server: versions, goal state and its documents, and the posts it takes. A row of the service table.
// Nothing blocks; CryptoError when a document's secret part cannot be made.
#ifndef KELVANE_TOOLS_FABRIC_WIRE_SERVER_H
#define KELVANE_TOOLS_FABRIC_WIRE_SERVER_H

#include "tools/fabric/services.h"

namespace kelvane::fabric {

// Its own address, or no address but this machine's (a person with curl).
bool wire_server_claims(const World &world, const Target &target);

Answer wire_server_serve(World &world, const Request &request, const Target &target, Judgement &judgement);

}  // namespace kelvane::fabric

#endif
