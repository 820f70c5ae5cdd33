// The appliance of a scenario: a fresh root folder with its configuration database, debug record and files, and reading
// back what a run left there. The database is used through the platform library, in children of this process. All throw
// std::runtime_error.
#ifndef KELVANE_TESTS_SCENARIO_RUN_APPLIANCE_H
#define KELVANE_TESTS_SCENARIO_RUN_APPLIANCE_H

#include <nlohmann/json.hpp>
#include <string>

namespace scenario {

using Json = nlohmann::ordered_json;

// The member of that name; an empty object when there is none.
const Json &part(const Json &object, const char *name);

// Makes the factory configuration below the root and changes it as the "appliance" part says.
void make_appliance(const std::string &root, const Json &appliance);

// Sets the agent debug level of the debug record below the root.
void set_debug_level(const std::string &root, int64_t level);

// Places one file below a folder: {"text"}, {"size"} (that many 'x'), {"mode"}, {"symlink"}, {"folder": true},
// {"pipe": true}.
void place_file(const std::string &folder, const std::string &path, const Json &file);

// Answers one entry of "tables" with what there is: {"fields": {...}} or {"absent": true} for a record, {"records":
// [...]} for the records of a table or of a parent record, each with "rest" for what is in none of its fields,
// {"bytes": DIGITS} for a record as it is, {"keys": [...]} for an account's SSH keys, {"events": [...]} for the system
// event log.
Json look_up(const std::string &root, const Json &entry);

// The answers to a list of them, in order, at the price of one.
Json look_up_all(const std::string &root, const Json &entries);

// Whether a stored password belongs to the clear one.
bool password_fits(const std::string &stored, const std::string &clear);

}  // namespace scenario

#endif
