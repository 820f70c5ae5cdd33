// What a scenario expects of a run, compared with what came. Each check adds a passage to the report for what differs
// and nothing for what fits. Blocks for as long as the database look-ups do.
#ifndef KELVANE_TESTS_SCENARIO_RUN_CHECKS_H
#define KELVANE_TESTS_SCENARIO_RUN_CHECKS_H

#include <cstdint>
#include <string>

#include "tests/scenario/run/appliance.h"
#include "tests/scenario/run/lines.h"

namespace scenario {

// What one run of the agent left behind.
struct RunResult {
  std::string root;
  std::string cloud;       // the folder of the fabric's own files, its journal among them; empty without one
  std::string folder;      // of the scenario file, where lists of lines lie
  std::string kelvanectl;  // the program
  std::string base;        // of the names of the run's own files
  int64_t debug_level = 0;
  int status = 0;
  Lines trace;
  std::string log;
  std::string standard_output;
  std::string standard_error;
};

// The report on everything in "expect"; empty when all fits.
std::string check_run(const Json &expect, const RunResult &run);

// The same for "files" and "tables" alone.
std::string check_files(const Json &files, const std::string &root);
std::string check_tables(const Json &tables, const std::string &root);

// The keys of "expect" that this runner understands, for the search for misspelt ones.
bool is_run_expectation(const std::string &key);

}  // namespace scenario

#endif
