// What is known of the requests of this life: how many handles are open, what was last sent.
#ifndef KELVANE_TESTS_SIMULATE_REQUESTS_H
#define KELVANE_TESTS_SIMULATE_REQUESTS_H

#include <cstdint>
#include <string>

namespace simulate {

// Handles that were made and not cleaned up.
int requests_open();

// The last status document that was put, whole or in pages; empty when there was none since it was forgotten.
const std::string &last_status_document();
void forget_status_document();

// Telemetry events in all posts so far.
uint64_t events_posted();

}  // namespace simulate

#endif
