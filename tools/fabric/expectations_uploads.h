// The expectations on what the agent uploaded and told: status documents, blobs, events. Called by the verdict; pure,
// nothing blocks.
#ifndef KELVANE_TOOLS_FABRIC_EXPECTATIONS_UPLOADS_H
#define KELVANE_TOOLS_FABRIC_EXPECTATIONS_UPLOADS_H

#include "tools/fabric/expectations.h"

namespace kelvane::fabric {

// Adds the findings on `status`, `blobs` and `events`, each only when the scenario expects something of it.
void judge_uploads(const World &world, Verdict &verdict);

}  // namespace kelvane::fabric

#endif
