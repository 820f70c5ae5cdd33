// A record of the configuration byte for byte: what stands at which offset, all other bytes zero. Used by the look-ups
// in tables. Throws std::runtime_error for an expectation that cannot be read. Nothing blocks.
#ifndef KELVANE_TESTS_SCENARIO_RUN_RECORD_BYTES_H
#define KELVANE_TESTS_SCENARIO_RUN_RECORD_BYTES_H

#include <cstddef>
#include <string>

#include "tests/scenario/run/appliance.h"

namespace scenario {

// The bytes in hexadecimal digits.
std::string as_digits(const void *bytes, size_t size);

// expected: {"size": N, "at": {OFFSET: DIGITS, OFFSET: {"text": TEXT}, OFFSET: {"password_of": TEXT, "width": N}}}. The
// last one is a field of that width with the stored form of that password, zeros behind it. Empty when the record in
// digits is that and nothing else, or the first byte that differs.
std::string bytes_difference(const Json &expected, const std::string &digits);

}  // namespace scenario

#endif
