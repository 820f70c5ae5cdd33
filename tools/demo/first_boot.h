// What every first boot comes to: what the appliance then holds, shown and compared with what its provisioning document
// asked for. Asks kelvanectl; throws std::runtime_error when it does not answer.
#ifndef KELVANE_TOOLS_DEMO_FIRST_BOOT_H
#define KELVANE_TOOLS_DEMO_FIRST_BOOT_H

#include "tools/demo/check.h"
#include "tools/demo/demo.h"
#include "tools/demo/step.h"

namespace demo {

// The certificates among it are those that the agent was made to log.
void show_first_boot(const Demo &demo, const Json &scenario);
Checks first_boot_checks(const Demo &demo, const Json &scenario);

}  // namespace demo

#endif
