// The shared debug record, as other programs may fill it: level, test command, flags and texts of any value. A command
// is taken once, served and marked as served, no other flag is touched, and what is no command gets the usage.
#include <signal.h>

#include <algorithm>

#include "core/signals.h"
#include "core/test_console.h"
#include "tests/fuzz/world.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::start();
  static const bool installed = (kelvane::test_signal_install(), true);
  fuzz::require(installed, "the signal is installed once");
  ncfg_debug_zone &record = recording::debug_record();
  record = {};
  std::copy_n(data, std::min(size, sizeof record - 1), reinterpret_cast<uint8_t *>(&record));
  const ncfg_debug_zone before = record;
  if (before.test_command == 99) {
    return 0;  // ends the process
  }
  uint32_t command = ~before.test_command;
  raise(SIGUSR2);
  fuzz::require(kelvane::test_command_take(&command) && command == before.test_command, "the command is taken");
  fuzz::require(record.test_command == 0 && !kelvane::test_command_take(&command), "and taken once");
  kelvane::test_console_run(command, nullptr);
  fuzz::require(record.flags == (before.flags | NCFG_DEBUG_FLAG_SERVED), "it is marked as served, and nothing else");
  const bool usage = recording::log_text().rfind("\nkelvane test usage\n", 0) == 0;
  fuzz::require(usage == (command < 1 || command > 4), "what is no command gets the usage");
  recording::clear_trace();
  return 0;
}
