#include "tests/simulate/expectation.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "tests/simulate/metadata_service.h"
#include "tests/simulate/secrets.h"
#include "tests/simulate/text.h"
#include "tests/simulate/view.h"
#include "tests/simulate/wanted.h"

namespace simulate {

namespace {

constexpr int kBuiltIn = 4;
enum Row { kCustomScript = 0, kVMAccess = 3 };

// The numbers are those of the events that tell of them.
enum class Command : int32_t { kInstall = 3, kUninstall = 4, kDisable = 5, kEnable = 6, kUpdate = 8 };
constexpr int32_t kOperations = 12;

Expectation gsNow;
std::vector<Expectation> gsSteps;  // what is saved after each command of this pass
int gsSeen = 0;
int gsHubCommands = 0;
int gsEvents[kOperations] = {};
const char *gsVMAccessStatus = "";
std::vector<std::string> gsPasswords;
bool gsForetold = false;
int32_t gsMarker = 0;  // of the last pass; 0 for none

// Nothing changed since a pass without commands: there is nothing to foretell.
bool gsQuiet = false;
int32_t gsQuietEffective = 0;

template <size_t N>
void put(char (&field)[N], const char *text) {
  std::snprintf(field, N, "%s", text);
}

bool newer_than_plugin(const Expected &plugin, const char *version) {
  std::array<unsigned, 4> asked;
  std::array<unsigned, 4> provided;
  return version_numbers(version, &asked) && (!version_numbers(plugin.version, &provided) || asked > provided);
}

State state_for(const Expected &plugin, const char *version) {
  return version[0] != '\0' && std::strcmp(plugin.version, version) == 0 ? plugin.state : State::kAbsent;
}

void forget(Expected *plugin) {
  plugin->command_time = 0;
  plugin->installed = 0;
  plugin->sequence_number = -1;
  put(plugin->message, "");
  put(plugin->version, "0.0.0.0");
  plugin->unversioned = false;
  plugin->state = State::kAbsent;
}

// ---- the plugins -----------------------------------------------------------------------------------------------

bool has_both(const Wanted *entry) {
  return entry != nullptr && entry->settings >= Settings::kNoCommand;
}

// The event hub's identifier and the operation that the command which is chosen names; false when there is no such.
bool event_hub_of(const Wanted &entry, std::string *appliance, std::string *operation) {
  if (entry.settings >= Settings::kSecret && view().tenant) {
    *appliance = secret_appliance(entry.secret);
    *operation = kSecretOperation;
    return true;
  }
  *appliance = appliance_of(entry);
  *operation = "op-" + std::to_string(entry.settings_number);
  return entry.settings == Settings::kEventHub || entry.settings == Settings::kBoth;
}

// A command that is chosen enables, whatever comes of it.
bool has_command(const Wanted &entry) {
  return entry.settings != Settings::kNoCommand && (entry.settings != Settings::kSecret || view().tenant);
}

void enable_custom_script(Expected *plugin, const Wanted *entry, int32_t sequence_number) {
  plugin->command_time = wall_clock();
  if (plugin->sequence_number == sequence_number) {
    return;
  }
  plugin->sequence_number = sequence_number;
  if (!has_both(entry) || !has_command(*entry)) {
    return;
  }
  std::string appliance;
  std::string operation;
  if (entry->settings == Settings::kInvalid) {
    put(plugin->message, "Command is finished.\n---stdout---\n\n---errout---\nERROR: Invalid Command!!\n");
  } else if (event_hub_of(*entry, &appliance, &operation)) {
    std::snprintf(plugin->message, sizeof plugin->message,
                  "Command is finished.\n---stdout---\nAzure Security configuration script.\nOperation ID: %s\n\n"
                  "---errout---\n\n",
                  operation.c_str());
    put(gsNow.appliance_id, appliance.c_str());
    gsHubCommands++;
    world().counts.hub_commands++;
    world().counts.secret_commands += operation == kSecretOperation ? 1 : 0;
  }
  plugin->state = State::kEnabled;
}

void enable_vm_access(Expected *plugin, const Wanted *entry, int32_t sequence_number) {
  if (plugin->sequence_number == sequence_number) {
    return;
  }
  plugin->state = State::kEnabled;
  plugin->sequence_number = sequence_number;
  plugin->command_time = wall_clock();
  put(plugin->message, has_both(entry) ? "Enable succeeded." : "failed");
  gsVMAccessStatus = has_both(entry) ? "success" : "error";
  if (has_both(entry) && entry->settings >= Settings::kSecret && view().tenant) {
    gsPasswords.push_back(secret_password(entry->secret));
  }
}

void acknowledge(Expected *plugin, int32_t sequence_number) {
  if (plugin->sequence_number != sequence_number) {
    plugin->sequence_number = sequence_number;
    plugin->command_time = wall_clock();
    put(plugin->message, "Plugin enabled");
  }
  plugin->state = State::kEnabled;
}

void enable(int row, Expected *plugin, const Wanted *entry) {
  const int32_t sequence_number = entry != nullptr ? entry->sequence_number : 0;
  if (row == kCustomScript) {
    enable_custom_script(plugin, entry, sequence_number);
  } else if (row == kVMAccess) {
    enable_vm_access(plugin, entry, sequence_number);
  } else {
    acknowledge(plugin, sequence_number);
  }
}

void adopt(int row, Expected *plugin, Command command, const char *version) {
  plugin->installed = 1;
  plugin->unversioned = plugin->unversioned || version[0] == '\0';
  put(plugin->version, version);
  plugin->state = row == kCustomScript && command == Command::kUpdate ? State::kEnabled : State::kInstalled;
  if (row == kCustomScript) {
    plugin->command_time = wall_clock();
  }
}

void launch(int row, Command command, const char *version, const Wanted *entry) {
  Expected *plugin = &gsNow.plugins[row];
  const bool bound = plugin->version[0] != '\0' && std::strcmp(plugin->version, "0.0.0.0") != 0;
  if (bound && std::strcmp(plugin->version, version) != 0) {
    return;
  }
  if (entry != nullptr) {
    put(plugin->extension_name, world().metadata ? settings_name_of(row).c_str() : kNameTexts[row]);
  }
  switch (command) {
    case Command::kInstall:
    case Command::kUpdate:
      adopt(row, plugin, command, version);
      break;
    case Command::kEnable:
      enable(row, plugin, entry);
      break;
    default:
      forget(plugin);
      break;
  }
  gsEvents[static_cast<int32_t>(command)]++;
  gsSteps.push_back(gsNow);
}

// ---- the pass --------------------------------------------------------------------------------------------------

void handle_enabled(const Wanted &wanted, const Wanted *entry) {
  const Expected &plugin = gsNow.plugins[wanted.name];
  char installed[32];
  put(installed, plugin.version);
  const State installed_state = state_for(plugin, installed);
  if (state_for(plugin, wanted.version) == State::kAbsent) {
    if (installed_state == State::kAbsent) {
      launch(wanted.name, Command::kInstall, wanted.version, entry);
    } else if (version_newer(wanted.version, installed)) {
      launch(wanted.name, Command::kDisable, installed, entry);
      launch(wanted.name, Command::kUpdate, wanted.version, entry);
      launch(wanted.name, Command::kUninstall, installed, entry);
      launch(wanted.name, Command::kInstall, wanted.version, entry);
    }
  }
  launch(wanted.name, Command::kEnable, wanted.version, entry);
}

void handle(const Wanted &wanted, const Wanted *entry, bool unchanged) {
  Expected *plugin = &gsNow.plugins[wanted.name];
  plugin->known = true;
  if (unchanged && !newer_than_plugin(*plugin, wanted.version)) {
    return;
  }
  const State state = state_for(*plugin, wanted.version);
  if (wanted.asked == Asked::kEnabled) {
    handle_enabled(wanted, entry);
  } else if (wanted.asked == Asked::kDisabled && state == State::kEnabled) {
    launch(wanted.name, Command::kDisable, wanted.version, entry);
  } else if (wanted.asked == Asked::kUninstall && state != State::kAbsent) {
    if (state == State::kEnabled) {
      launch(wanted.name, Command::kDisable, wanted.version, entry);
    }
    launch(wanted.name, Command::kUninstall, wanted.version, entry);
  }
}

// Settings that are no JSON leave those of the entry before them, under their own number.
void take_entry(Wanted *entry, const Wanted &next) {
  if (next.settings == Settings::kNoJson && entry->settings != Settings::kNoEntry) {
    entry->sequence_number = next.sequence_number;
  } else {
    *entry = next;
  }
}

}  // namespace

const Wanted *settings_entry(const Revision &revision, int index) {
  if (world().metadata) {
    const Wanted &own = revision.wanted[index];
    return own.settings != Settings::kNoEntry ? &own : nullptr;
  }
  const auto same = [&](int other) {
    return revision.wanted[other].name == revision.wanted[index].name &&
           std::strcmp(revision.wanted[other].version, revision.wanted[index].version) == 0;
  };
  for (int i = 0; i < index; i++) {
    if (same(i)) {
      return nullptr;
    }
  }
  static Wanted entry;
  entry.settings = Settings::kNoEntry;
  for (int i = index; i < revision.count; i++) {
    if (same(i) && revision.wanted[i].settings != Settings::kNoEntry) {
      take_entry(&entry, revision.wanted[i]);
    }
  }
  return entry.settings != Settings::kNoEntry ? &entry : nullptr;
}

void expectation_begin() {
  gsNow = world().durable;
  std::memcpy(gsNow.appliance_id, world().written.event_hub.appliance_id, sizeof gsNow.appliance_id);
  for (int row = 0; row < kNames; row++) {
    Expected *plugin = &gsNow.plugins[row];
    if (plugin->installed == 0) {
      plugin->sequence_number = -1;
      plugin->command_time = 0;
      put(plugin->extension_name, "");
      put(plugin->message, "");
    }
  }
}

void expectation_begin_pass() {
  gsSteps.clear();
  gsSeen = 0;
  gsHubCommands = 0;
  std::fill(std::begin(gsEvents), std::end(gsEvents), 0);
  gsForetold = false;
  gsPasswords.clear();
}

void expectation_foretell() {
  if (gsForetold) {
    return;
  }
  gsForetold = true;
  const View &told = view();
  const bool unchanged = gsMarker != 0 && told.incarnation != 0 && gsMarker == told.incarnation;
  if (unchanged && gsQuiet && gsQuietEffective == told.effective.incarnation) {
    return;
  }
  for (int i = 0; i < told.effective.count; i++) {
    handle(told.effective.wanted[i], settings_entry(told.effective, i), unchanged);
  }
  gsMarker = told.incarnation;
  gsQuiet = unchanged && gsSteps.empty();
  gsQuietEffective = told.effective.incarnation;
}

void expectation_saving() {
  expectation_foretell();
  if (gsSeen >= expectation_commands()) {
    broken("the status file is written %d times, after %d commands", gsSeen + 1, expectation_commands());
  }
  gsSeen++;
  world().counts.commands++;
}

void expectation_saved() {
  world().durable = gsSteps[static_cast<size_t>(gsSeen - 1)];
  world().status_spoilt = false;
}

void expectation_lost() {
  Expectation *durable = &world().durable;
  *durable = {};
  world().status_spoilt = true;
  for (int row = 0; row < kNames; row++) {
    durable->plugins[row].sequence_number = -1;
    if (row < kBuiltIn) {
      durable->plugins[row].known = true;
      put(durable->plugins[row].version, "0.0.0.0");
    }
  }
}

void expectation_hub_is(const char *appliance_id) {
  put(gsNow.appliance_id, appliance_id);
}

const Expectation &expectation() {
  return gsNow;
}

int expectation_commands() {
  return static_cast<int>(gsSteps.size());
}

int expectation_events(int32_t operation) {
  return operation >= 0 && operation < kOperations ? gsEvents[operation] : 0;
}

const char *expectation_vm_access_status() {
  return gsVMAccessStatus;
}

const std::vector<std::string> &expectation_passwords() {
  return gsPasswords;
}

int expectation_hub_commands() {
  return gsHubCommands;
}

int expectation_seen() {
  return gsSeen;
}

}  // namespace simulate
