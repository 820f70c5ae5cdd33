// The extension pass: what the main loop calls to bring every extension into the state that the platform asks for, and
// to report on it: fetch the list through the protocol, decide for each handler, command its plugin, send one VM
// status. Blocks for as long as the protocol's requests and the plugins do. Fails at nothing: the next pass, 25 seconds
// later, starts from what the plugin manager then says. The change marker of the last pass is all that it keeps.
#ifndef KELVANE_EXTENSIONS_GUEST_AGENT_H
#define KELVANE_EXTENSIONS_GUEST_AGENT_H

#include "protocol/protocol.h"

namespace kelvane {

// One pass.
void GuestAgent_HandlerExtension(const Protocol *protocol);

// Called every second; deliberately does nothing.
void GuestAgent_HandlerMonitor(const Protocol *protocol);

// Frees the saved change marker.
void GuestAgent_HandlerExtensionCleanup();

}  // namespace kelvane

#endif
