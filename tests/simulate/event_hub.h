// What the agent did about the event hub in a pass, as the platform saw it. Each command that names a whole event hub
// asks for the record, writes the configuration and tells the outcome in the system event log, once, whatever became of
// the ones before it; nothing else that the cloud wants does any of these.
#ifndef KELVANE_TESTS_SIMULATE_EVENT_HUB_H
#define KELVANE_TESTS_SIMULATE_EVENT_HUB_H

#include <cstdint>

namespace simulate {

void event_hub_begin_pass();

void event_hub_asked();

// Whether this write of the configuration is refused: one in ten of the event hub's, also when there is no trouble, as
// somebody else has the database.
bool event_hub_refused();

// The configuration was written, or not; what others write does not count. Whether the event hub wrote.
bool event_hub_written(bool succeeded);
void event_hub_told(uint32_t event_id, int32_t result, const char *text);

// Breaks off unless it was done for so many commands.
void event_hub_check(int commands);

}  // namespace simulate

#endif
