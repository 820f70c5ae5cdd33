#include "tests/simulate/invariants.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "plugins/plugin.h"
#include "plugins/plugin_registry.h"
#include "protocol/metadata/metadata_state.h"
#include "protocol/wire/ext_config.h"
#include "protocol/wire/goal_state.h"
#include "protocol/wire/status_blob.h"
#include "tests/simulate/disk.h"
#include "tests/simulate/event_hub.h"
#include "tests/simulate/expectation.h"
#include "tests/simulate/first_boot.h"
#include "tests/simulate/memory_watch.h"
#include "tests/simulate/metadata_reports.h"
#include "tests/simulate/requests.h"
#include "tests/simulate/sent.h"
#include "tests/simulate/stored.h"
#include "tests/simulate/view.h"

extern "C" int __real_close(int descriptor);

namespace simulate {

namespace {

// Forty commands of a whole new list, a few lists behind each other, a health check a pass: while no upload goes
// through for half an hour.
constexpr uint64_t kLongestQueue = 600;

struct Life {
  uint64_t passes;
  uint64_t events;
  int clean;  // passes in a row that found everything told, of the same incarnation
  int32_t clean_incarnation;
  int lowest_descriptor;
  int64_t began;      // on the virtual clock
  int64_t heartbeat;  // when the last one was queued, on the wall clock; 0 before any
};

Life gsLife;

// ---- the plugins -----------------------------------------------------------------------------------------------

State state_of(const kelvane::Plugin &plugin) {
  if (plugin.state == nullptr) {
    return State::kAbsent;
  }
  return std::strcmp(plugin.state, "enabled") == 0 ? State::kEnabled : State::kInstalled;
}

void same_text(const char *plugin, const char *what, const char *is, const char *should) {
  if (std::strcmp(is, should) != 0) {
    broken("%s: %s is '%s' and should be '%s'", plugin, what, is, should);
  }
}

void same_number(const char *plugin, const char *what, int64_t is, int64_t should) {
  if (is != should) {
    broken("%s: %s is %lld and should be %lld", plugin, what, static_cast<long long>(is),
           static_cast<long long>(should));
  }
}

void check_plugin(const kelvane::Plugin &plugin, const Expected &should) {
  same_text(plugin.name, "version", plugin.version, should.version);
  same_number(plugin.name, "state", static_cast<int64_t>(state_of(plugin)), static_cast<int64_t>(should.state));
  same_number(plugin.name, "installed", plugin.data->installed, should.installed);
  same_number(plugin.name, "sequence number", plugin.data->sequence_number, should.sequence_number);
  same_number(plugin.name, "command time", plugin.data->command_time, should.command_time);
  same_text(plugin.name, "extension name", plugin.data->extension_name, should.extension_name);
  same_text(plugin.name, "message", plugin.data->message, should.message);
}

// What a failed call left pending is written with whatever is written next.
void settle_event_hub() {
  World &w = world();
  if (w.hub_in_doubt) {
    expectation_hub_is(w.written.event_hub.appliance_id);
    w.hub_in_doubt = std::strcmp(w.written.event_hub.appliance_id, w.configuration.event_hub.appliance_id) != 0;
  }
}

void check_plugins() {
  const Expectation &should = expectation();
  const auto known = std::count_if(std::begin(should.plugins), std::end(should.plugins),
                                   [](const Expected &each) { return each.known; });
  same_number("registry", "count", kelvane::plugin_registry_count(), known);
  for (int32_t i = 0; i < kelvane::plugin_registry_count(); i++) {
    const kelvane::Plugin *plugin = kelvane::plugin_registry_at(i);
    const int row = row_of(plugin->name);
    if (row < 0 || !should.plugins[row].known) {
      broken("a plugin that nobody asked for: %s", plugin->name);
    }
    check_plugin(*plugin, should.plugins[row]);
  }
  event_hub_check(expectation_hub_commands());
  settle_event_hub();
  same_text("event hub", "appliance", world().written.event_hub.appliance_id, should.appliance_id);
}

void check_commands() {
  same_number("pass", "number of commands", expectation_seen(), expectation_commands());
}

// ---- what the platform asks for ---------------------------------------------------------------------------------

// Whether the rules let this request come true at all: a version of four numbers that a plugin can keep, not older than
// what is installed, settings that the plugin can use, and no other request for the same name.
bool can_be_enabled(const Revision &revision, const Wanted &wanted, const Expected &plugin, const Wanted *entry) {
  const auto same_name = [&](const Wanted &each) { return each.name == wanted.name; };
  if (std::count_if(revision.wanted, revision.wanted + revision.count, same_name) > 1 ||
      std::strlen(wanted.version) >= sizeof plugin.version || wanted.version[0] == '\0' || plugin.unversioned) {
    return false;
  }
  const bool picky = wanted.name == 0;
  const bool usable = !picky || (entry != nullptr && entry->settings >= Settings::kInvalid);
  const int32_t sequence_number = entry != nullptr ? entry->sequence_number : 0;
  return usable && sequence_number >= 0 && std::strcmp(plugin.version, wanted.version) == 0;
}

bool version_of(const kelvane::Plugin &plugin, const Wanted &wanted) {
  return wanted.version[0] != '\0' && std::strcmp(plugin.version, wanted.version) == 0;
}

unsigned long long version_value(const char *text) {
  unsigned a = 0, b = 0, c = 0, d = 0;
  return std::sscanf(text, "%u.%u.%u.%u", &a, &b, &c, &d) == 4 ? (a * 1000ull + b) * 1000000ull + c * 1000ull + d + 1
                                                               : 0;
}

void check_enabled(const Revision &revision, int index, const kelvane::Plugin &plugin) {
  const Wanted &wanted = revision.wanted[index];
  const Wanted *entry = settings_entry(revision, index);
  const unsigned long long asked = version_value(wanted.version);
  if (can_be_enabled(revision, wanted, expectation().plugins[wanted.name], entry)) {
    // With the sequence number that a plugin enabled before its settings became usable, it stays as it was.
    const bool consumed = wanted.name == 0 && plugin.data->message[0] == '\0';
    if (state_of(plugin) != State::kEnabled && !consumed) {
      broken("%s %s was asked to be enabled and is not", plugin.name, wanted.version);
    }
  } else if (asked != 0 && std::strlen(wanted.version) < sizeof plugin.version &&
             std::count_if(revision.wanted, revision.wanted + revision.count,
                           [&](const Wanted &each) { return each.name == wanted.name; }) == 1 &&
             version_value(plugin.version) < asked && version_value(plugin.version) != 0) {
    broken("%s %s was asked for and %s is what there is", plugin.name, wanted.version, plugin.version);
  }
}

// Told from the rules about states alone, not from the foretold commands.
void check_settled(const Revision &revision) {
  world().counts.settled_checks++;
  for (int i = 0; i < revision.count; i++) {
    const Wanted &wanted = revision.wanted[i];
    const kelvane::Plugin *plugin = kelvane::pluginManager_Find(kNameTexts[wanted.name]);
    if (wanted.asked == Asked::kEnabled) {
      check_enabled(revision, i, *plugin);
      continue;
    }
    const bool alone = std::count_if(revision.wanted, revision.wanted + revision.count,
                                     [&](const Wanted &each) { return each.name == wanted.name; }) == 1;
    if (!alone || wanted.asked == Asked::kUnknown || !version_of(*plugin, wanted)) {
      continue;
    }
    const State state = state_of(*plugin);
    if (state == State::kEnabled || (wanted.asked == Asked::kUninstall && state != State::kAbsent)) {
      broken("%s %s was asked to go and is still there", plugin->name, wanted.version);
    }
  }
}

void check_asked() {
  const int32_t incarnation = world().current.incarnation;
  if (!view_is_current()) {
    gsLife.clean = 0;
    return;
  }
  gsLife.clean = gsLife.clean_incarnation == incarnation ? gsLife.clean + 1 : 1;
  gsLife.clean_incarnation = incarnation;
  world().counts.clean_passes++;
  if (gsLife.clean >= 2) {
    check_settled(world().current);
  }
}

// ---- what the agent knows --------------------------------------------------------------------------------------

void check_wire_followed(const View &told) {
  const char *incarnation = kelvane::goal_state()->incarnation.get();
  const std::string should = told.incarnation != 0 ? std::to_string(told.incarnation) : "";
  same_text("goal state", "incarnation", incarnation != nullptr ? incarnation : "", should.c_str());
  same_number("extensions", "incarnation", kelvane::ext_config()->incarnation, told.held.incarnation);
  same_number("extensions", "count", kelvane::ext_config()->handlers.count, told.held.count);
}

void check_metadata_followed(const View &told) {
  const kelvane::MetadataState *state = kelvane::metadata_state();
  const std::string should = told.held_etag != 0 ? "\"" + std::to_string(told.held_etag) + "\"" : "";
  same_text("metadata", "ETag", state->etag.present() ? state->etag.get() : "", should.c_str());
  same_number("metadata", "number of handlers", state->handlers.count, told.held.count);
}

void check_followed() {
  if (world().metadata) {
    check_metadata_followed(view());
  } else {
    check_wire_followed(view());
  }
}

// ---- capacities and descriptors ---------------------------------------------------------------------------

void check_descriptors() {
  same_number("descriptors", "number of open ones", disk_open_count(), 0);
  same_number("requests", "number of open handles", requests_open(), 0);
  if (gsLife.passes % 64 != 0) {
    return;
  }
  const int lowest = dup(STDOUT_FILENO);
  __real_close(lowest);
  gsLife.lowest_descriptor = gsLife.passes == 64 ? lowest : gsLife.lowest_descriptor;
  same_number("descriptors", "lowest free one", lowest, gsLife.lowest_descriptor);
}

void check_capacities() {
  const kelvane::StatusBlob *blob = kelvane::status_blob();
  if (blob->extension_count > kelvane::kStatusBlobExtensions || blob->vm.handler_count > 3) {
    broken("the status blob holds %d extensions and %d handlers", blob->extension_count, blob->vm.handler_count);
  }
  // Nobody drains the queue under the metadata service; that is meant.
  if (world().metadata) {
    return;
  }
  const uint64_t queued = gsLife.events - std::min(gsLife.events, events_posted());
  world().counts.longest_queue = std::max(world().counts.longest_queue, queued);
  if (queued > kLongestQueue) {
    broken("%llu events wait", static_cast<unsigned long long>(queued));
  }
}

void check_sent() {
  if (world().metadata) {
    check_metadata_reports(sent_last());
  } else if (!sent_last().status_blob.empty()) {
    check_status_document(sent_last().status_blob);
  }
}

// One at the loop's first look and then one in twelve hours; the slack is for a clock that jumps and a slow pass.
void check_heartbeat() {
  constexpr int64_t kInterval = 12 * kHour;
  constexpr int64_t kSlack = 2 * kHour;
  const bool missing = gsLife.heartbeat == 0 ? world().now - gsLife.began > kSlack
                                             : wall_clock() - gsLife.heartbeat > kInterval + kSlack;
  if (missing && !world().metadata) {
    broken("no heartbeat since %lld", static_cast<long long>(gsLife.heartbeat));
  }
}

// Documents are parsed when something changed, and now and then.
void check_documents() {
  if (expectation_commands() > 0 && !world().status_spoilt) {
    check_status_file(disk_bytes(kStatusFile));
  }
  if (expectation_commands() > 0 || gsLife.passes % 100 == 0) {
    world().counts.documents++;
    check_sent();
  }
  sent_forget();
}

}  // namespace

void invariants_begin_life() {
  gsLife = {};
  gsLife.began = world().now;
  expectation_begin();
  first_boot_begin_life();
}

void invariants_begin_pass() {
  World &w = world();
  if (w.restart_asked && w.passes_since_asked++ > 0) {
    broken("a restart was asked for and does not come");
  }
  const auto silence = static_cast<uint64_t>(std::max<int64_t>(0, w.now - w.last_pass - w.back_since_pass));
  w.counts.longest_silence = std::max(w.counts.longest_silence, silence);
  w.last_pass = w.now;
  w.back_since_pass = 0;
  w.counts.passes++;
  w.counts.metadata_lives += w.metadata && gsLife.passes == 0 ? 1 : 0;
  gsLife.passes++;
  happened("pass");
  if (gsLife.passes == 1) {
    first_boot_over();
  }
  expectation_begin_pass();
  event_hub_begin_pass();
}

void invariants_end_pass() {
  expectation_foretell();
  check_followed();
  check_commands();
  check_plugins();
  check_asked();
  check_capacities();
  check_descriptors();
  check_heartbeat();
  memory_watch_pass();
  check_documents();
}

void invariants_event_queued(int32_t operation) {
  constexpr int32_t kHeartbeat = 1;
  gsLife.events++;
  if (operation != kHeartbeat) {
    return;
  }
  if (world().metadata || (gsLife.heartbeat != 0 && wall_clock() - gsLife.heartbeat <= 12 * kHour)) {
    broken("a heartbeat that is not due, after %lld", static_cast<long long>(gsLife.heartbeat));
  }
  gsLife.heartbeat = wall_clock();
}

// One request of three events at the most, whatever became of the requests before it: an event is tried once.
void invariants_events_posted(uint64_t before, int32_t more) {
  constexpr uint64_t kMost = 3;
  const uint64_t waited = gsLife.events - before;
  const uint64_t should = std::min(waited, kMost);
  if (events_posted() - before != should || more != (waited > should ? 1 : 0)) {
    broken("of %llu waiting events %llu are posted and %d is answered", static_cast<unsigned long long>(waited),
           static_cast<unsigned long long>(events_posted() - before), more);
  }
}

}  // namespace simulate
