// The agent's one asynchronous entry: SIGUSR2, by which the appliance's tools hand it a test command. The handler only
// moves the command from the shared debug record into a cell of this module; the main loop takes it from there. The
// handler does no logging and no allocation, and assumes that the debug record exists.
#ifndef KELVANE_CORE_SIGNALS_H
#define KELVANE_CORE_SIGNALS_H

#include <stdint.h>

namespace kelvane {

using SignalHandler = void (*)(int signal);

// Installs a handler with an empty mask. Interrupted system calls are restarted, except for SIGALRM and SIGCHLD, whose
// purpose is to interrupt. The previous handler, or SIG_ERR when sigaction fails.
SignalHandler InstallSignalHandler(int signal, SignalHandler handler);

// Installs the test-command handler for SIGUSR2; nothing else is handled.
void test_signal_install();

// Whether a test command is pending; if so, it is moved to *command and no longer pending. One that arrives later,
// while this one runs, is kept for the next call.
bool test_command_take(uint32_t *command);

}  // namespace kelvane

#endif
