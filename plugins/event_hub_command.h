// The one command that the custom-script plugin accepts: reading of the event-hub settings that its text carries, and
// their way into the configuration database and the system event log. Blocks only in the platform's configuration
// calls.
#ifndef KELVANE_PLUGINS_EVENT_HUB_COMMAND_H
#define KELVANE_PLUGINS_EVENT_HUB_COMMAND_H

#include <stddef.h>

#include "platform/records.h"

namespace kelvane {

// Runs the command text: "... OPERATION SETTINGS", the settings being base64 of a JSON document. Complete settings are
// written to table 640, the outcome goes to the system event log, and message (message_size bytes) receives the
// transcript, which is the same either way. Incomplete ones change nothing.
void CustomScript_ConfigEventHub(const char *command, char *message_field, size_t message_size);

// Decodes the settings token into the record, which the caller zeroed; texts that are missing stay empty.
void CustomScript_ParseLogSettings(const char *token, ncfg_event_hub *settings);

}  // namespace kelvane

#endif
