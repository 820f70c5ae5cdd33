// What stands at the end of a demo: what the agent reported, what the fabric makes of it, and how everything came out
// that was expected. Asks the fabric; throws std::runtime_error when it does not answer.
#ifndef KELVANE_TOOLS_DEMO_REPORT_H
#define KELVANE_TOOLS_DEMO_REPORT_H

#include "tools/demo/check.h"
#include "tools/demo/demo.h"

namespace demo {

// Prints it all, the checks that were made before among it. Whether every expectation held. With --keep also says how
// to talk to what runs on, and lets it go.
bool report(Demo &demo, Checks checks);

}  // namespace demo

#endif
