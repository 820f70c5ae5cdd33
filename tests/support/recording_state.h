// What the files of the recording platform share: its one state and the common part of every call.
#ifndef KELVANE_TESTS_SUPPORT_RECORDING_STATE_H
#define KELVANE_TESTS_SUPPORT_RECORDING_STATE_H

#include <map>
#include <memory>
#include <string>

#include "tests/support/recording_platform.h"

namespace recording {

struct Stored {
  uint32_t number = 0;
  std::vector<uint8_t> bytes;
  std::map<uint32_t, std::vector<Stored>> children;  // by child table
};
using Tables = std::map<uint32_t, std::vector<Stored>>;  // records in key-number order

struct Failure {
  bool always = false;
  uint32_t nth = 0;  // fails when it counts down to 0
  int32_t result = -1;
};

struct Log {
  std::vector<std::string> trace;
  std::vector<std::string> messages;
  std::vector<std::string> misuses;
  std::vector<std::string> passwords;
  std::vector<ncfg_account> policy_saves;
  std::vector<SystemEvent> events;
};

struct World {
  Log log;
  bool echo = false;
  std::map<std::string, Failure> failures;
  std::map<std::string, std::function<void()>> hooks;
  ncfg_debug_zone debug = {};
  int32_t policy_result = 0;
  std::string policy_reason;
  std::map<int32_t, int32_t> ssh_results;
  std::map<std::string, std::map<int32_t, std::string>> ssh_keys;
  std::vector<uint8_t> random;
  size_t random_next = 0;
  std::map<int32_t, std::string> zones;
  bool copy_files = false;
  std::unique_ptr<char[]> lent_password;
};

World &world();
void misuse(const std::string &text);
std::string quoted(const char *text);

// Writes the call down, runs its hook and tells whether it is to fail; *result is then the number to return.
bool enter(const std::string &name, const std::string &arguments, int32_t *result = nullptr);
// Adds an ending to the text of the call that was entered last, at position where of the trace.
void add_ending(size_t where, const std::string &ending);

// The tables' part of reset.
void reset_tables();

}  // namespace recording

#endif
