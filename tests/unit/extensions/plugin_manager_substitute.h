// A plugin manager for the tests of the extension pass: linked in the real one's place. It answers what a test has set
// and writes every command down in the recording platform's trace: `install "Name" 1.0.0.0 "settings" seq 3`, with
// ` {runtime, public, protected, thumbprint}` behind the commands that carry settings.
#ifndef KELVANE_TESTS_UNIT_EXTENSIONS_PLUGIN_MANAGER_SUBSTITUTE_H
#define KELVANE_TESTS_UNIT_EXTENSIONS_PLUGIN_MANAGER_SUBSTITUTE_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace plugin_manager {

struct State {
  // By name and version; none for the others.
  std::map<std::pair<std::string, std::string>, std::string> states;
  // By name: the version that is reported as installed; nothing is written for the others.
  std::map<std::string, std::string> installed;
  // What the questions answer.
  int32_t newer = 0;
  int32_t find_result = 0;
  int32_t handler_status_result = 0;
  int32_t status_result = 0;
  int32_t command_result = 0;
  // The name whose handler status fails.
  std::string failing_handler;
  // Whether the questions are written down as well.
  bool note_questions = false;
};

State &state();
void reset();

}  // namespace plugin_manager

#endif
