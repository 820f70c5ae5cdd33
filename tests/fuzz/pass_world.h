// A protocol for passes of extension handling: lends the handlers of a document, and asserts what holds of everything
// that is reported to it, as both protocols would write it.
#ifndef KELVANE_TESTS_FUZZ_PASS_WORLD_H
#define KELVANE_TESTS_FUZZ_PASS_WORLD_H

#include <string>

#include "protocol/protocol.h"

namespace fuzz {

// What the next pass finds: the handlers of this extensions configuration. Its marker is the text itself.
void ask_for(const std::string &document);
const kelvane::Protocol *asking_protocol();

// Takes every event out of the queue; each is XML that the gate passes.
void require_events_are_xml();

// Frees what the passes left.
void forget_pass();

}  // namespace fuzz

#endif
