// The control requests under "/_fabric/": how a test or a person looks at the fabric and changes it while it runs.
// Called from the server's threads; nothing blocks. They are not in the journal.
#ifndef KELVANE_TOOLS_FABRIC_CONTROL_H
#define KELVANE_TOOLS_FABRIC_CONTROL_H

#include "tools/fabric/fabric.h"

namespace kelvane::fabric {

// What the server does for a control request besides sending the answer.
enum class ControlAction { kNone, kQuit, kListen, kStopListening };

struct ControlResult {
  Answer answer;
  ControlAction action = ControlAction::kNone;
  int64_t milliseconds = 0;  // how long to stop listening; 0: until told otherwise
};

// What the server knows and the fabric does not.
struct ControlContext {
  bool listening = true;
  bool own_port = false;  // the request came over the control port
};

bool is_control(const Request &request);

ControlResult control(Fabric &fabric, const Request &request, const ControlContext &context);

}  // namespace kelvane::fabric

#endif
