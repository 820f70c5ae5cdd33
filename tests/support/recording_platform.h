// A platform in memory for unit tests: implements all of platform/platform.h, writes every call down in order, and
// fails where a test wants it to. A test program links kelvane-agent and kelvane-recording-platform (and no other
// platform). One thread. Nothing here touches files, but for set_copy_files(true).
//
// The trace. Every call and every message line becomes one text, in order:
//   - a call is its name with its arguments in brackets: numbers in decimal, texts in double quotes (null without
//   quotes),
//     a query as the number of its table, a child query as `354 of "user"`, a record as its key in quotes (an entry of
//     table 354 as `{widget, column, open, height}`), output buffers by their size only;
//   - a call that was made to fail ends in ` -> failed`; a look-up that found nothing ends in ` -> none`;
//   - a message line is `message: ` and the line, escaped;
//   - escapes: \n \r \t \" \\ and \xHH for every other byte outside 0x20..0x7E. Only quotes inside quoted texts are
//     escaped, those of message lines are not.
// messages() has the lines of message alone, as exact bytes.
//
// Queries hand out copies on the heap, exactly as large as the record, which die when the contract says that the loan
// ends: the address sanitizer finds a use after that. misuses() lists what broke the contract otherwise; RecordingTest
// (recording_fixture.h) expects it empty and no query left open.
#ifndef KELVANE_TESTS_SUPPORT_RECORDING_PLATFORM_H
#define KELVANE_TESTS_SUPPORT_RECORDING_PLATFORM_H

#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace recording {

// The domain that cmf_get_cur_domain_id returns.
inline constexpr int32_t kDomain = 7;

// Everything as in a fresh process: no records, an empty trace, no failures, debug record present with level 0, the
// schema of defaults below. Queries that are still open are freed (their addresses are dead from then on).
void reset();

// ---- the trace ----

// All texts since reset or clear_trace, in order.
const std::vector<std::string> &trace();
// The trace without its message lines.
std::vector<std::string> calls();
// Only the texts of calls of this name, "cmf_write_config" for instance.
std::vector<std::string> calls_of(const std::string &name);
// All lines of message, in order, exact bytes.
const std::vector<std::string> &messages();
// Those lines joined: what the log holds.
std::string log_text();
// Forgets trace, messages, passwords and events; tables, failures and their counts stay.
void clear_trace();
// Adds a text to the trace: for substitutes of system calls, so that one trace holds the order of everything.
void note(const std::string &text);
// Also writes every text of the trace to standard error as it comes: for death tests, whose trace dies with the child.
void echo(bool on);
// The escaping of the trace.
std::string escaped(const std::string &bytes, bool quotes = true);
const std::vector<std::string> &misuses();
// Queries made by cmf_query_create and cmf_query_create_child_with_key that are not freed yet.
size_t open_queries();

// ---- failures and hooks; the name is that of the call ----

// Calls that return a pointer then return null, the others the number; void calls do nothing.
void fail_always(const std::string &name, int32_t result = -1);
// Only the n-th call from now on fails, counted from 1.
void fail_nth(const std::string &name, uint32_t n, int32_t result = -1);
void fail_never(const std::string &name);
// Runs at the beginning of every call of that name (the call is in the trace already).
void on_call(const std::string &name, std::function<void()> hook);

// ---- debug record ----

void set_debug_level(int32_t level);
// The record itself, also while it is absent for the agent.
ncfg_debug_zone &debug_record();
// Absent: nCfg_debug_zone is null.
void set_debug_record_present(bool present);

// ---- tables ----

// Puts a record into a table, current and durable; its key is its first field. A key number of 0: the next free one.
// Returns the key number. A record of that key is replaced and keeps its number.
uint32_t seed_bytes(uint32_t table, const void *record, size_t size, uint32_t key_number = 0);
template <typename Record>
uint32_t seed(uint32_t table, const Record &record, uint32_t key_number = 0) {
  return seed_bytes(table, &record, sizeof record, key_number);
}
// Removes a record (without trace) from both states; nothing when there is none.
void remove(uint32_t table, const std::string &key);

// Short cuts: records that are zero but for what is given.
uint32_t seed_account(const std::string &name, const std::string &stored_password = "", uint8_t hidden = 0);
uint32_t seed_interface(const std::string &name, uint32_t azure_endpoint = 0,
                        uint32_t addressing_mode = NCFG_ADDRESSING_STATIC, uint8_t manual = 0,
                        uint32_t default_server = 0);
uint32_t seed_widget(const std::string &name, uint32_t key_number = 0);
uint32_t seed_access_profile(const std::string &name, uint32_t key_number = 0);
void seed_system_settings(const ncfg_system_settings &record = {});
void seed_event_hub(const ncfg_event_hub &record = {});

// A small appliance: system settings, "admin" (password "factory"), "prof_admin" (key number 5), the eight widgets of
// the default dashboard (key numbers 11 to 18: sysinfo, vexwatch, sysres, policysummary, attacksummary, alert,
// policy-sessions, sysop), port1 to port4, an empty event-hub record.
void seed_factory_defaults();

// Which of the two states a reader asks about: what this process sees, or what would survive its death.
enum class State { kCurrent, kDurable };

std::optional<std::vector<uint8_t>> record_bytes(uint32_t table, const std::string &key, State state);
std::vector<std::vector<uint8_t>> all_bytes(uint32_t table, State state);
std::vector<std::vector<uint8_t>> children_bytes(uint32_t table, const std::string &key, uint32_t child_table,
                                                 State state);
std::vector<std::string> keys(uint32_t table, State state = State::kCurrent);
// 0 when there is no such record.
uint32_t key_number(uint32_t table, const std::string &key);
// Whether something waits for cmf_write_config.
bool pending();

template <typename Record>
Record from_bytes(const std::vector<uint8_t> &bytes) {
  Record record;
  std::memset(static_cast<void *>(&record), 0, sizeof record);
  std::memcpy(static_cast<void *>(&record), bytes.data(), bytes.size() < sizeof record ? bytes.size() : sizeof record);
  return record;
}
template <typename Record>
std::optional<Record> record(uint32_t table, const std::string &key, State state = State::kCurrent) {
  const auto bytes = record_bytes(table, key, state);
  return bytes ? std::optional<Record>(from_bytes<Record>(*bytes)) : std::nullopt;
}
template <typename Record>
std::vector<Record> all(uint32_t table, State state = State::kCurrent) {
  std::vector<Record> records;
  for (const auto &bytes : all_bytes(table, state)) {
    records.push_back(from_bytes<Record>(bytes));
  }
  return records;
}
template <typename Record>
std::vector<Record> children(uint32_t table, const std::string &key, uint32_t child_table,
                             State state = State::kCurrent) {
  std::vector<Record> records;
  for (const auto &bytes : children_bytes(table, key, child_table, state)) {
    records.push_back(from_bytes<Record>(bytes));
  }
  return records;
}
std::optional<ncfg_account> account(const std::string &name, State state = State::kCurrent);
std::optional<ncfg_interface> interface_record(const std::string &name, State state = State::kCurrent);
// The single record of table 100 or 640; zero when there is none.
ncfg_system_settings system_settings(State state = State::kCurrent);
ncfg_event_hub event_hub(State state = State::kCurrent);

// ---- schema: cmdb may be written by tests, reset restores it ----

// The default record of accounts is zero but for these two bytes, so that a test sees whether it was applied.
inline constexpr uint8_t kDefaultAccountByte2450 = 0xD1;
inline constexpr uint8_t kDefaultAccountByte1100 = 0xD2;
void set_default_record(uint32_t table, const void *record, size_t size);
// The schema has no definition of this table.
void remove_definition(uint32_t table);

// ---- accounts ----

// make_new_passwd gives "stored(<password>)", cut to 128 characters. The texts it was given, exact bytes:
const std::vector<std::string> &passwords_given();
// The records that passwd_policy_save_info was given.
const std::vector<ncfg_account> &policy_saves();
// The answer of check_passwd_policy: result and reason. At first 0 and "".
void set_policy_answer(int32_t result, const std::string &reason);
// The result of ssh_pubkey_data_set for a slot; at first 0 for slots 1, 2 and 3. Any account name is taken.
void set_ssh_result(int32_t slot, int32_t result);
// The key in a slot of an account, empty when there is none.
std::string ssh_key(const std::string &user, int32_t slot);

// ---- the rest ----

struct SystemEvent {
  uint32_t event_id;
  int32_t version;
  int32_t category;
  std::string source;
  int32_t kind;
  int32_t result;
  std::string text;
};
const std::vector<SystemEvent> &system_events();

// What get_rnd_bytes hands out, repeated from its beginning when used up. At first the bytes 1, 2, ... 255.
void set_random_bytes(const std::vector<uint8_t> &bytes);
// Zone names; at first index 0 is "Etc/UTC" and 1 is "Europe/Berlin".
void set_zone(int32_t index, const std::string &name);
// ncfg_copyfile really copies when true; at first it only returns 0.
void set_copy_files(bool on);

}  // namespace recording

#endif
