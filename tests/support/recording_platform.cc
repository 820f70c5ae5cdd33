#include "tests/support/recording_platform.h"

#include <openssl/bn.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <numeric>

#include "tests/support/recording_state.h"

namespace recording {

World &world() {
  static World the_world;
  return the_world;
}

void misuse(const std::string &text) {
  std::fprintf(stderr, "recording platform: misuse: %s\n", text.c_str());
  world().log.misuses.push_back(text);
}

namespace {

std::string escape(char c, bool quotes) {
  switch (c) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    case '\\':
      return "\\\\";
    case '"':
      return quotes ? "\\\"" : "\"";
    default:
      break;
  }
  char hex[8];
  std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned>(static_cast<uint8_t>(c)));
  return hex;
}

bool stands_for_itself(char c) {
  return c >= 0x20 && c <= 0x7E && c != '"' && c != '\\';
}

}  // namespace

// By runs of ordinary characters: the fuzz targets spend much of their time here.
std::string escaped(const std::string &bytes, bool quotes) {
  std::string text;
  for (auto at = bytes.begin(); at != bytes.end();) {
    const auto run_end = std::find_if_not(at, bytes.end(), stands_for_itself);
    text.append(at, run_end);
    at = run_end;
    if (at != bytes.end()) {
      text += escape(*at++, quotes);
    }
  }
  return text;
}

std::string quoted(const char *text) {
  return text != nullptr ? '"' + escaped(text) + '"' : "null";
}

void note(const std::string &text) {
  world().log.trace.push_back(text);
  if (world().echo) {
    std::fprintf(stderr, "%s\n", text.c_str());
  }
}

void add_ending(size_t where, const std::string &ending) {
  if (where < world().log.trace.size()) {
    world().log.trace[where] += ending;
  }
}

bool enter(const std::string &name, const std::string &arguments, int32_t *result) {
  bool failed = false;
  const auto failure = world().failures.find(name);
  if (failure != world().failures.end()) {
    const bool its_turn = failure->second.nth != 0 && --failure->second.nth == 0;
    failed = failure->second.always || its_turn;
    if (failed && result != nullptr) {
      *result = failure->second.result;
    }
  }
  note(name + "(" + arguments + ")" + (failed ? " -> failed" : ""));
  const auto hook = world().hooks.find(name);
  if (hook != world().hooks.end() && hook->second) {
    hook->second();
  }
  return failed;
}

void reset() {
  reset_tables();
  World fresh;
  fresh.ssh_results = {{1, 0}, {2, 0}, {3, 0}};
  fresh.random.resize(255);
  std::iota(fresh.random.begin(), fresh.random.end(), static_cast<uint8_t>(1));
  fresh.zones = {{0, "Etc/UTC"}, {1, "Europe/Berlin"}};
  world() = std::move(fresh);
  nCfg_debug_zone = &world().debug;
}

const std::vector<std::string> &trace() {
  return world().log.trace;
}

std::vector<std::string> calls() {
  std::vector<std::string> found;
  for (const std::string &text : trace()) {
    if (text.rfind("message: ", 0) != 0) {
      found.push_back(text);
    }
  }
  return found;
}

std::vector<std::string> calls_of(const std::string &name) {
  std::vector<std::string> found;
  for (const std::string &text : trace()) {
    if (text.rfind(name + "(", 0) == 0) {
      found.push_back(text);
    }
  }
  return found;
}

const std::vector<std::string> &messages() {
  return world().log.messages;
}

std::string log_text() {
  return std::accumulate(messages().begin(), messages().end(), std::string());
}

// Keeps the room that the lists have: the fuzz targets do this several times for an input.
void clear_trace() {
  Log &log = world().log;
  log.trace.clear();
  log.messages.clear();
  log.misuses.clear();
  log.passwords.clear();
  log.policy_saves.clear();
  log.events.clear();
}

void echo(bool on) {
  world().echo = on;
}

const std::vector<std::string> &misuses() {
  return world().log.misuses;
}

void fail_always(const std::string &name, int32_t result) {
  world().failures[name] = {true, 0, result};
}

void fail_nth(const std::string &name, uint32_t n, int32_t result) {
  world().failures[name] = {false, n, result};
}

void fail_never(const std::string &name) {
  world().failures.erase(name);
}

void on_call(const std::string &name, std::function<void()> hook) {
  world().hooks[name] = std::move(hook);
}

void set_debug_level(int32_t level) {
  world().debug.agent_debug_level = level;
}

ncfg_debug_zone &debug_record() {
  return world().debug;
}

void set_debug_record_present(bool present) {
  nCfg_debug_zone = present ? &world().debug : nullptr;
}

const std::vector<std::string> &passwords_given() {
  return world().log.passwords;
}

const std::vector<ncfg_account> &policy_saves() {
  return world().log.policy_saves;
}

void set_policy_answer(int32_t result, const std::string &reason) {
  world().policy_result = result;
  world().policy_reason = reason;
}

void set_ssh_result(int32_t slot, int32_t result) {
  world().ssh_results[slot] = result;
}

std::string ssh_key(const std::string &user, int32_t slot) {
  return world().ssh_keys[user][slot];
}

const std::vector<SystemEvent> &system_events() {
  return world().log.events;
}

void set_random_bytes(const std::vector<uint8_t> &bytes) {
  world().random = bytes;
  world().random_next = 0;
}

void set_zone(int32_t index, const std::string &name) {
  world().zones[index] = name;
}

void set_copy_files(bool on) {
  world().copy_files = on;
}

}  // namespace recording

using recording::enter;
using recording::quoted;
using recording::world;

namespace {

std::string number(int64_t value) {
  return std::to_string(value);
}

std::string shown(const char *text) {
  return text != nullptr ? text : "";
}

int32_t base64_value(char c) {
  static const std::string kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const size_t at = kAlphabet.find(c);
  return at == std::string::npos ? -1 : static_cast<int32_t>(at);
}

// What must stand behind the last digit: padding that fills the group of four, and white space anywhere.
bool padding_is_right(const std::string &digits, const std::string &padding) {
  const size_t rest = digits.size() % 4;
  const size_t wanted = rest == 0 ? 0 : 4 - rest;
  return rest != 1 && padding == std::string(wanted, '=');
}

// The digits without white space, and what follows from the first '=' on. False for a foreign character; both texts
// then hold what stood in front of it.
bool split_base64(const char *text, std::string *digits, std::string *padding) {
  for (; *text != '\0'; text++) {
    if (std::strchr(" \t\n\v\f\r", *text) != nullptr) {
      continue;
    }
    if (*text != '=' && (base64_value(*text) < 0 || !padding->empty())) {
      return false;
    }
    (*text == '=' ? padding : digits)->push_back(*text);
  }
  return true;
}

}  // namespace

extern "C" {

struct ncfg_debug_zone *nCfg_debug_zone = &world().debug;

void message(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  char short_line[256];
  const auto length = static_cast<size_t>(vsnprintf(short_line, sizeof short_line, format, arguments));
  va_end(arguments);
  std::string line(short_line, std::min(length, sizeof short_line - 1));
  if (length >= sizeof short_line) {
    line.resize(length + 1);
    vsnprintf(line.data(), line.size(), format, again);
    line.pop_back();
  }
  va_end(again);
  world().log.messages.push_back(line);
  recording::note("message: " + recording::escaped(line, false));
  const auto hook = world().hooks.find("message");
  if (hook != world().hooks.end() && hook->second) {
    hook->second();
  }
}

void log_system_event(uint32_t event_id, int32_t version, int32_t category, const char *source, int32_t kind,
                      int32_t result, const char *text) {
  enter("log_system_event", number(event_id) + ", " + number(version) + ", " + number(category) + ", " +
                                quoted(source) + ", " + number(kind) + ", " + number(result) + ", " + quoted(text));
  world().log.events.push_back({event_id, version, category, shown(source), kind, result, shown(text)});
}

const char *make_new_passwd(const char *password, int32_t options) {
  const bool failed = enter("make_new_passwd", quoted(password) + ", " + number(options));
  world().lent_password.reset();
  if (password == nullptr) {
    recording::misuse("make_new_passwd without a password");
    return nullptr;
  }
  world().log.passwords.push_back(password);
  if (failed) {
    return nullptr;
  }
  const std::string stored = ("stored(" + std::string(password) + ")").substr(0, NCFG_PASSWORD_SIZE - 1);
  world().lent_password = std::make_unique<char[]>(stored.size() + 1);
  std::memcpy(world().lent_password.get(), stored.c_str(), stored.size() + 1);
  return world().lent_password.get();
}

int32_t check_passwd_policy(const struct ncfg_account *account, const char *password, char *error_text,
                            size_t error_size) {
  int32_t result = world().policy_result;
  const std::string name = account != nullptr ? quoted(account->name) : "null";
  enter("check_passwd_policy", name + ", " + quoted(password) + ", " + std::to_string(error_size), &result);
  if (error_text != nullptr && error_size != 0) {
    std::snprintf(error_text, error_size, "%s", world().policy_reason.c_str());
  }
  return result;
}

void passwd_policy_save_info(struct ncfg_account *account) {
  if (account == nullptr) {
    recording::misuse("passwd_policy_save_info without an account");
    return;
  }
  enter("passwd_policy_save_info", quoted(account->name));
  world().log.policy_saves.push_back(*account);
}

int32_t ssh_pubkey_data_set(const char *user_name, const char *public_key, int32_t slot) {
  const auto wanted = world().ssh_results.find(slot);
  int32_t result = wanted != world().ssh_results.end() ? wanted->second : -1;
  enter("ssh_pubkey_data_set", quoted(user_name) + ", " + quoted(public_key) + ", " + number(slot), &result);
  if (result == 0) {
    world().ssh_keys[shown(user_name)][slot] = shown(public_key);
  }
  return result;
}

int32_t openssl_init_rng(void) {
  int32_t result = 0;
  enter("openssl_init_rng", "", &result);
  return result;
}

struct rsa_st *generate_RSA_key(int32_t bits, uint64_t exponent, void *callback, void *argument) {
  if (callback != nullptr || argument != nullptr) {
    recording::misuse("generate_RSA_key with a callback or an argument");
  }
  if (enter("generate_RSA_key", number(bits) + ", " + std::to_string(exponent))) {
    return nullptr;
  }
  RSA *key = RSA_new();
  BIGNUM *number_e = BN_new();
  BN_set_word(number_e, exponent);
  if (RSA_generate_key_ex(key, bits, number_e, nullptr) != 1) {
    RSA_free(key);
    key = nullptr;
  }
  BN_free(number_e);
  return key;
}

int32_t get_rnd_bytes(void *buffer, size_t length) {
  int32_t result = 0;
  if (enter("get_rnd_bytes", std::to_string(length), &result)) {
    return result;
  }
  for (size_t i = 0; i < length && !world().random.empty(); i++) {
    static_cast<uint8_t *>(buffer)[i] = world().random[world().random_next++ % world().random.size()];
  }
  return 0;
}

int32_t miglib_b64_pton(const char *text, uint8_t *buffer, size_t size) {
  int32_t result = -1;
  if (enter("miglib_b64_pton", quoted(text) + ", " + std::to_string(size), &result)) {
    return result;
  }
  std::string digits;
  std::string padding;
  const bool clean = split_base64(text, &digits, &padding);
  size_t done = 0;
  uint32_t bits = 0;
  for (size_t i = 0; i < digits.size(); i++) {
    bits = (bits << 6 | static_cast<uint32_t>(base64_value(digits[i]))) & 0xFFFFFFu;
    if (i % 4 == 0) {
      continue;
    }
    if (done == size) {
      return -1;
    }
    buffer[done++] = static_cast<uint8_t>(bits >> (6 - 2 * (i % 4)) & 0xFFu);
  }
  return clean && padding_is_right(digits, padding) ? static_cast<int32_t>(done) : -1;
}

void ncfg_active_dayst(void) {
  enter("ncfg_active_dayst", "");
}

const char *get_zoneinfo(int32_t index) {
  enter("get_zoneinfo", number(index));
  const auto found = world().zones.find(index);
  return found != world().zones.end() ? found->second.c_str() : world().zones[0].c_str();
}

int32_t ncfg_copyfile(const char *source, const char *destination) {
  int32_t result = 0;
  if (enter("ncfg_copyfile", quoted(source) + ", " + quoted(destination), &result) || !world().copy_files) {
    return result;
  }
  std::error_code failed;
  std::filesystem::copy_file(source, destination, std::filesystem::copy_options::overwrite_existing, failed);
  return failed ? -1 : 0;
}

}  // extern "C"
