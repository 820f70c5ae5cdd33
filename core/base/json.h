// Loading of JSON texts that come from outside. One gate in front of json-c, as there is one in front of Mini-XML: what
// is too long or holds too many values counts as a text that does not parse (one megabyte of "[{},{},..." becomes
// 270 MB of objects), and so does what is not strict UTF-8: json-c would take it, and whatever the agent made of such
// texts would be JSON for nobody. Nesting is bounded by json-c itself (32 levels). Never blocks. Logs one line for
// what is over a cap, nothing of the text.
#ifndef KELVANE_CORE_BASE_JSON_H
#define KELVANE_CORE_BASE_JSON_H

#include <stdint.h>

#include "core/base/json_owners.h"

namespace kelvane {

// Within the two caps no reading of a text takes 50 ms of CPU time (tests/bench/readings_bench.cc).

// Bytes of a text. The platform's runtime settings and certificate documents stay below half a megabyte.
inline constexpr uint64_t kJsonMaxBytes = uint64_t{2} * 1024 * 1024;

// Values of a text: every array element, member, object and array counts. Settings have a few dozen; the status file
// and the metadata service's extensions about ten for each plugin, of which a machine has a dozen.
inline constexpr uint64_t kJsonMaxValues = 20000;

// Parses a text. Absent for a null text, one over the caps or not UTF-8, one that json-c refuses, for the JSON value
// null, and when memory ran out, which *no_memory (may be null) tells apart; a text that begins with json-c's null, or
// with a comment, as it may be null behind that, never counts so. Not all of json-c's failures can be seen: some of its
// allocations are not checked, and a value then lacks a part without a word.
JsonOwner json_load(const char *text, bool *no_memory = nullptr);

// The member of that name when value is an object and the member is of that type; else null. Lent, not a reference of
// its own.
json_object *json_member(json_object *value, const char *name, json_type type);

// The text of the string member of that name; null when there is none or it is of another type. Lent as above.
const char *json_member_text(json_object *value, const char *name);

// Frees *slot and puts a copy of the member of that name there: a string as it is, another value as its JSON text;
// absent when it is missing or JSON's null. 0, or -1 with *slot absent when memory ran out; but json-c may write the
// text of an object or array without a part that it had no memory for, and not tell.
int32_t json_replace_text(char **slot, json_object *value, const char *name);

}  // namespace kelvane

#endif
