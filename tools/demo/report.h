// What stands at the end of a demo: what the appliance's database holds, what the agent reported, what the fabric makes
// of it. Asks kelvanectl and the fabric; throws std::runtime_error when one of them does not answer.
#ifndef KELVANE_TOOLS_DEMO_REPORT_H
#define KELVANE_TOOLS_DEMO_REPORT_H

#include "tools/demo/demo.h"

namespace demo {

// Prints it all. Whether every expectation held. With --keep also says how to talk to what runs on, and lets it go.
bool report(Demo &demo);

}  // namespace demo

#endif
