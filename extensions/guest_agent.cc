#include "extensions/guest_agent.h"

#include "core/base/log.h"
#include "core/base/text.h"
#include "include/agent_version.h"

namespace kelvane {

namespace {

// The change marker of the previous pass; all that survives from one pass to the next.
Text gsPreviousMarker;

// No plugin has a status to tell, so no handler stands in the report.
void report_vm_status(const Protocol *protocol) {
  VMStatus status = {};
  status.agent_version = kAgentVersion;
  status.status = "Ready";
  status.message = "Guest Agent is running";
  protocol->report_vm_status(protocol, &status);
}

}  // namespace

void GuestAgent_HandlerExtension(const Protocol *protocol) {
  LOG_ABOVE(6, "[kelvane]: %s: Running extension handler\n", "GuestAgent_HandlerExtension");
  char *marker = nullptr;
  ExtHandlerList handlers = {};
  protocol->get_ext_handlers(protocol, gsPreviousMarker.get(), &marker, &handlers);
  gsPreviousMarker = Text::adopt(marker);
  report_vm_status(protocol);
}

void GuestAgent_HandlerMonitor(const Protocol *) {}

void GuestAgent_HandlerExtensionCleanup() {
  gsPreviousMarker.reset();
}

}  // namespace kelvane
