// What is asked about the demo's appliance, beside what every first boot has to come to. Runs kelvanectl and blocks for
// as long as it takes; what goes wrong throws std::runtime_error. Changes nothing.
#ifndef KELVANE_TOOLS_DEMO_QUESTIONS_H
#define KELVANE_TOOLS_DEMO_QUESTIONS_H

#include <vector>

#include "tools/demo/check.h"
#include "tools/demo/demo.h"
#include "tools/demo/step.h"

namespace demo {

// Shows each answer, and returns a check for each: its name is the command.
Checks ask_appliance(const Demo &demo, const std::vector<Question> &questions);

}  // namespace demo

#endif
