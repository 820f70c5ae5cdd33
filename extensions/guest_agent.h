// The extension pass: what the main loop calls to bring every extension into the state that the platform asks for, and
// to report on it. Will own the per-extension decisions; at present a pass follows the goal state and acts on no
// extension.
#ifndef KELVANE_EXTENSIONS_GUEST_AGENT_H
#define KELVANE_EXTENSIONS_GUEST_AGENT_H

#include "protocol/protocol.h"

namespace kelvane {

// One pass. Blocks for as long as the protocol's requests do.
void GuestAgent_HandlerExtension(const Protocol *protocol);

// Called every second; deliberately does nothing.
void GuestAgent_HandlerMonitor(const Protocol *protocol);

// Frees the saved change marker.
void GuestAgent_HandlerExtensionCleanup();

}  // namespace kelvane

#endif
