// What kelvanectl shows of an appliance: the output of every command that only reads, as text and as JSON. Used by the
// search for secrets. Blocks while the commands run; throws std::runtime_error when one cannot be run.
#ifndef KELVANE_TESTS_SCENARIO_RUN_READ_VERBS_H
#define KELVANE_TESTS_SCENARIO_RUN_READ_VERBS_H

#include <map>
#include <string>

namespace scenario {

// By command line, "kelvanectl account list" for instance. program: kelvanectl; root: the appliance's root folder;
// base: where files of this may lie.
std::map<std::string, std::string> outputs_of_read_verbs(const std::string &program, const std::string &root,
                                                         const std::string &base);

}  // namespace scenario

#endif
