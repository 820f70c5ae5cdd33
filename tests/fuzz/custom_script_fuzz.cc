// The command text of the custom script: everything up to the first line end, and behind it the JSON of its settings,
// which the target encodes. The transcript and the stored settings keep their fields, an event is reported exactly when
// settings were complete, and below the trace level nothing is logged.
#include "plugins/event_hub_command.h"
#include "tests/fuzz/world.h"
#include "tests/support/base64.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::start(6);
  recording::seed_event_hub();
  const std::string text = fuzz::text_of(data, size);
  const size_t line_end = text.find('\n');
  const std::string command = line_end == std::string::npos
                                  ? text
                                  : text.substr(0, line_end) + " " + support::base64(text.substr(line_end + 1));
  char transcript[256] = "untouched";
  kelvane::CustomScript_ConfigEventHub(command.c_str(), transcript, sizeof transcript);
  fuzz::require(!fuzz::is_utf8(text) || fuzz::is_utf8(transcript), "of a command in UTF-8 the transcript is UTF-8");
  const ncfg_event_hub stored = recording::event_hub(recording::State::kDurable);
  bool complete = stored.enabled == 1;
  for (const auto *field : {&stored.appliance_id, &stored.policy_sas_key, &stored.policy_name, &stored.event_hub_name,
                            &stored.service_bus_namespace}) {
    fuzz::require_field(*field);
    fuzz::require(complete == ((*field)[0] != '\0'), "settings are stored whole or not at all");
  }
  fuzz::require(complete == (recording::system_events().size() == 1), "what is stored is reported");
  fuzz::require(complete == (std::string(transcript).rfind("Command is finished.\n---stdout---\n", 0) == 0) &&
                    (complete || std::string(transcript) == "untouched"),
                "the transcript tells what was stored");
  fuzz::require(fuzz::logged().empty() && recording::open_queries() == 0, "no log line and no query is left");
  recording::clear_trace();
  return 0;
}
