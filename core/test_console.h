// The test console: what an operator's test command does. Called by the main loop, never from the signal handler. Its
// output goes to the log at every level; the dumps show private keys in clear, deliberately.
#ifndef KELVANE_CORE_TEST_CONSOLE_H
#define KELVANE_CORE_TEST_CONSOLE_H

#include <stdint.h>

#include "protocol/protocol.h"

namespace kelvane {

// Runs one command: 1 to 4 are dumps, 99 ends the process with status 0 (whoever supervises it starts it again), any
// other number prints the usage. Then tells the tool, by a bit in the shared debug record, that it was served. protocol
// may be null.
void test_console_run(uint32_t command, const Protocol *protocol);

}  // namespace kelvane

#endif
