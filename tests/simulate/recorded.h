// What the agent records for the status document, looked at as it is recorded: the upload clears it.
#ifndef KELVANE_TESTS_SIMULATE_RECORDED_H
#define KELVANE_TESTS_SIMULATE_RECORDED_H

#include <cstdint>

namespace simulate {

// The status of an extension of this name was recorded, or, as the seventh, was not; all of the machine was, of which
// the document is made at once.
void recorded_extension(const char *name);
void recorded_vm();

// The moment of the latter, on the wall clock.
int64_t recorded_at();

}  // namespace simulate

#endif
