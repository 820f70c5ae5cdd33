#include "core/signals.h"

#include <signal.h>

#include "platform/platform.h"

namespace kelvane {

namespace {

// The historical "do interrupt" flag. The kernel ignores it; what counts is that SA_RESTART is not set.
constexpr int kInterruptFlag = 0x20000000;

volatile int32_t pending_test_flag = 0;
volatile uint32_t pending_test_command = 0;

// The command is in its cell before the loop, which is what this interrupts, can look at the flag. It is read and set
// to 0 in one step, as a tool may write the next one at any time.
void handle_test_signal(int) {
  pending_test_flag = 1;
  pending_test_command = __atomic_exchange_n(&nCfg_debug_zone->test_command, 0u, __ATOMIC_RELAXED);
}

}  // namespace

SignalHandler InstallSignalHandler(int signal, SignalHandler handler) {
  struct sigaction action = {};
  struct sigaction previous = {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  action.sa_flags = signal == SIGALRM || signal == SIGCHLD ? kInterruptFlag : SA_RESTART;
  return sigaction(signal, &action, &previous) == 0 ? previous.sa_handler : SIG_ERR;
}

void test_signal_install() {
  InstallSignalHandler(SIGUSR2, handle_test_signal);
}

bool test_command_take(uint32_t *command) {
  if (pending_test_flag == 0) {
    return false;
  }
  *command = pending_test_command;
  pending_test_flag = 0;
  return true;
}

}  // namespace kelvane
