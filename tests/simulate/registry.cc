#include "tests/simulate/registry.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "plugins/plugin_registry.h"
#include "tests/simulate/event_hub.h"
#include "tests/simulate/expectation.h"
#include "tests/simulate/same.h"
#include "tests/simulate/wanted.h"

namespace simulate {

namespace {

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

// Of those commands that reach it the identifier differs, and the rest is the same; before any of them all is empty.
void check_event_hub(const ncfg_event_hub &is, const char *appliance_id) {
  const bool configured = appliance_id[0] != '\0';
  same_text("event hub", "appliance", is.appliance_id, appliance_id);
  same_text("event hub", "key", is.policy_sas_key, configured ? kHubKey : "");
  same_text("event hub", "policy", is.policy_name, configured ? kHubPolicy : "");
  same_text("event hub", "name", is.event_hub_name, configured ? kHubName : "");
  same_text("event hub", "namespace", is.service_bus_namespace, configured ? kHubNamespace : "");
  same_number("event hub", "enabled", is.enabled, configured ? 1 : 0);
}

}  // namespace

State state_of(const kelvane::Plugin &plugin) {
  if (plugin.state == nullptr) {
    return State::kAbsent;
  }
  return std::strcmp(plugin.state, "enabled") == 0 ? State::kEnabled : State::kInstalled;
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
  check_event_hub(world().written.event_hub, should.appliance_id);
}

}  // namespace simulate
