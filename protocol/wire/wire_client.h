// What the wire protocol fetches: the versions document, the goal state, and, when its incarnation has changed, the
// certificates and the extensions configuration. Called by the operations table, on the main thread; blocks for as long
// as the requests and their retries take. A failed goal state leaves every cached value as it was; of certificates and
// extensions only the body counts, not the result of the request. The first copy of each document after boot is kept
// under /tmp for whoever looks into a machine; later ones are, deliberately, not written, and a file that cannot be
// made is no failure.
#ifndef KELVANE_PROTOCOL_WIRE_WIRE_CLIENT_H
#define KELVANE_PROTOCOL_WIRE_WIRE_CLIENT_H

#include <stdint.h>

#include "include/buffer.h"

namespace kelvane {

// Fetches the versions document, which has no effect beyond its copy. The libcurl result of the request.
int32_t __WireClient_get_versions();

// Accepts the versions document and returns -1 without reading it, whatever it holds: deliberate, the agent speaks one
// version. The destination is untouched.
int32_t VersionInfo_parse(const Buffer *document, void *destination);

// Fetches the goal state; then certificates and extensions configuration, always when forced, else when the
// incarnation differs from the one before, when none is known, or when memory ran out for a part of them the last time.
void __WireClient_update_goal_state(int32_t forced);

}  // namespace kelvane

#endif
