// What the plugins should be: the rules of the extension pass, of the plugin manager and of each plugin, told a second
// time and without a line of the agent's. Fed with what the agent was told (view.h), it says after which commands the
// status file is written, with what in it, and what the registry holds when the pass is over. What it says survives in
// the world as the disk would have it: a restart begins from the last whole status file, a lost one from nothing.
#ifndef KELVANE_TESTS_SIMULATE_EXPECTATION_H
#define KELVANE_TESTS_SIMULATE_EXPECTATION_H

#include <string>
#include <vector>

#include "tests/simulate/world.h"

namespace simulate {

// A life begins: what the status file brings back.
void expectation_begin();

// A pass begins; and the last request of its first half is answered, or the first command runs: the agent knows what it
// goes by, and its commands are foretold. The second may come several times.
void expectation_begin_pass();
void expectation_foretell();

// The status file is about to be written, which happens once after each command; was written whole; is gone, or cut.
void expectation_saving();
void expectation_saved();
void expectation_lost();

// Calls of the platform failed: this is what the event hub's record holds.
void expectation_hub_is(const char *appliance_id);

// What should be now, the commands of this pass, and those that were seen.
const Expectation &expectation();
int expectation_commands();
int expectation_events(int32_t operation);  // that tell of those of a kind
int expectation_hub_commands();             // those among them that name a whole event hub
int expectation_seen();

// The status that the VM-access plugin tells of itself, which is not saved: empty in a life before it is enabled.
const char *expectation_vm_access_status();

// The administrator's passwords that this pass sets, one after the other.
const std::vector<std::string> &expectation_passwords();

// The settings that go with the wanted extension at index, null for none: its own under the metadata service; of the
// wire server's, the last entry of its name and version, and only for the first extension of these. Valid until the
// next call.
const Wanted *settings_entry(const Revision &revision, int index);

}  // namespace simulate

#endif
