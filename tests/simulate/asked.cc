#include "tests/simulate/asked.h"

#include <algorithm>
#include <cstring>

#include "plugins/plugin_registry.h"
#include "tests/simulate/expectation.h"
#include "tests/simulate/registry.h"
#include "tests/simulate/text.h"
#include "tests/simulate/view.h"

namespace simulate {

namespace {

struct Clean {
  int passes;  // in a row that found everything told, of the same incarnation
  int32_t incarnation;
};

Clean gsClean;

bool alone(const Revision &revision, const Wanted &wanted) {
  return std::count_if(revision.wanted, revision.wanted + revision.count,
                       [&](const Wanted &each) { return each.name == wanted.name; }) == 1;
}

bool version_of(const kelvane::Plugin &plugin, const Wanted &wanted) {
  return wanted.version[0] != '\0' && std::strcmp(plugin.version, wanted.version) == 0;
}

// Whether the rules let this request come true at all: the version that is installed, settings that the plugin can use,
// and no other request for the same name.
bool can_be_enabled(const Revision &revision, const Wanted &wanted, const kelvane::Plugin &plugin,
                    const Wanted *entry) {
  // Whether it was ever installed under an empty version cannot be seen any more.
  if (!alone(revision, wanted) || !version_of(plugin, wanted) || expectation().plugins[wanted.name].unversioned) {
    return false;
  }
  const bool picky = wanted.name == 0;
  const bool usable = !picky || (entry != nullptr && entry->settings >= Settings::kInvalid);
  const int32_t sequence_number = entry != nullptr ? entry->sequence_number : 0;
  return usable && sequence_number >= 0;
}

// A version that a plugin can keep, and one that it does not reach.
bool behind(const kelvane::Plugin &plugin, const Wanted &wanted) {
  return std::strlen(wanted.version) < sizeof Expected::version && version_newer(wanted.version, plugin.version);
}

void check_enabled(const Revision &revision, int index, const kelvane::Plugin &plugin) {
  const Wanted &wanted = revision.wanted[index];
  const Wanted *entry = settings_entry(revision, index);
  if (can_be_enabled(revision, wanted, plugin, entry)) {
    // With the sequence number that a plugin enabled before its settings became usable, it stays as it was.
    const bool consumed = wanted.name == 0 && plugin.data->message[0] == '\0';
    if (state_of(plugin) != State::kEnabled && !consumed) {
      broken("%s %s was asked to be enabled and is not", plugin.name, wanted.version);
    }
  } else if (alone(revision, wanted) && behind(plugin, wanted)) {
    broken("%s %s was asked for and %s is what there is", plugin.name, wanted.version, plugin.version);
  }
}

// Told from the rules about states, what the agent holds and what the cloud wants, not from the foretold commands.
void check_settled(const Revision &revision) {
  world().counts.settled_checks++;
  for (int i = 0; i < revision.count; i++) {
    const Wanted &wanted = revision.wanted[i];
    const kelvane::Plugin *plugin = kelvane::pluginManager_Find(kNameTexts[wanted.name]);
    if (wanted.asked == Asked::kEnabled) {
      check_enabled(revision, i, *plugin);
      continue;
    }
    if (!alone(revision, wanted) || wanted.asked == Asked::kUnknown || !version_of(*plugin, wanted)) {
      continue;
    }
    const State state = state_of(*plugin);
    if (state == State::kEnabled || (wanted.asked == Asked::kUninstall && state != State::kAbsent)) {
      broken("%s %s was asked to go and is still there", plugin->name, wanted.version);
    }
  }
}

}  // namespace

void check_asked() {
  const int32_t incarnation = world().current.incarnation;
  if (!view_is_current()) {
    gsClean.passes = 0;
    return;
  }
  gsClean.passes = gsClean.incarnation == incarnation ? gsClean.passes + 1 : 1;
  gsClean.incarnation = incarnation;
  world().counts.clean_passes++;
  if (gsClean.passes >= 2) {
    check_settled(world().current);
  }
}

}  // namespace simulate
