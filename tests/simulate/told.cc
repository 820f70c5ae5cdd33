#include "tests/simulate/told.h"

#include <ctime>

#include "tests/simulate/expectation.h"

namespace simulate {

namespace {

struct Row {
  const char *operation, *status, *message;  // null for what the plugin holds
};

// By the row of the name; the rest are nobody's.
constexpr Row kRows[] = {
    {"Daemon", "success", nullptr},
    {"Enable", "success", "Enable ASM succeeded."},
    {"Enable", "success", "Enable succeeded."},
    {"Enable", nullptr, nullptr},
};
constexpr Row kNobodys = {"Enable", "error", "Not supported."};

}  // namespace

Told told_of(int row, const Expected &plugin) {
  if (plugin.installed == 0) {
    return {};
  }
  const Row &rule = row < static_cast<int>(sizeof kRows / sizeof *kRows) ? kRows[row] : kNobodys;
  return {time_text(plugin.command_time), rule.operation,
          rule.status != nullptr ? rule.status : expectation_vm_access_status(),
          rule.message != nullptr ? rule.message : plugin.message, plugin.sequence_number};
}

std::string time_text(int64_t at) {
  const time_t seconds = at;
  tm parts = {};
  char text[32] = "";
  if (at != 0 && gmtime_r(&seconds, &parts) != nullptr) {
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  }
  return text;
}

}  // namespace simulate
