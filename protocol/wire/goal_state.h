// The cached goal state: the ten values that the wire server publishes, each kept until a later goal state names a new
// one. Filled by the wire client, read by the reports and the configuration dump. Never blocks. A document that does
// not parse, or that lacks elements, changes nothing of what it lacks: only goal_state_release clears a value.
#ifndef KELVANE_PROTOCOL_WIRE_GOAL_STATE_H
#define KELVANE_PROTOCOL_WIRE_GOAL_STATE_H

#include <stdint.h>

#include "core/base/text.h"
#include "include/buffer.h"

namespace kelvane {

// Every text is absent until first seen.
struct GoalState {
  Text incarnation;
  Text expected_state;
  Text hosting_environment_uri;
  Text shared_config_uri;
  Text extensions_config_uri;
  Text instance_id;
  Text config_name;
  Text certificates_uri;
  Text container_id;
  Text probe_port;
  bool incomplete = false;  // memory ran out for a part of the last document: it is wanted again
};

// The cache, lent; its texts change with the next document.
const GoalState *goal_state();

// Takes over what a goal-state document holds, and hands the container id, once known, to telemetry. When memory runs
// out for any of it, which is logged, it is incomplete, and an incarnation that is known stays the one before.
void goal_state_parse(const Buffer *document);

// Frees every value: absent afterwards.
void goal_state_release();

}  // namespace kelvane

#endif
