// A day in the life of the appliance: the scenario's steps, one after the other. A step is a goal state further, or a
// restart of the agent; it is over when the status document of its time has arrived. Then it is shown what arrived and
// what the appliance holds, and compared with what the step expects. Blocks for a few seconds a step.
#ifndef KELVANE_TOOLS_DEMO_DAY_H
#define KELVANE_TOOLS_DEMO_DAY_H

#include "tools/demo/check.h"
#include "tools/demo/demo.h"
#include "tools/demo/step.h"

namespace demo {

// Plays all steps, or up to the one whose status document does not arrive. `after_first` is called when the first step,
// the first boot, is over. One check for each thing that a step expects.
Checks play_day(Demo &demo, const std::vector<Step> &steps, const std::function<void()> &after_first);

}  // namespace demo

#endif
