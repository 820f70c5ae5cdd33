// Expected lines against lines that came. An expected list is written by hand: "# ..." and empty lines are left out,
// "24 * sleep 1" stands for 24 lines, "{>5} log ..." counts only at debug levels above 5, and in a line <any> fits any
// text and <n> any number. Never blocks.
#ifndef KELVANE_TESTS_SCENARIO_RUN_LINES_H
#define KELVANE_TESTS_SCENARIO_RUN_LINES_H

#include <cstdint>
#include <string>
#include <vector>

namespace scenario {

using Lines = std::vector<std::string>;

// The text's lines, without their ends.
Lines split_lines(const std::string &text);

// The hand-written list, written out for a debug level.
Lines expand(const Lines &written, int64_t debug_level);

// Whether a line fits an expected one.
bool fits(const std::string &expected, const std::string &got);

// Whether both lists fit line by line.
bool all_fit(const Lines &expected, const Lines &got);

// The first expected line that does not come in this order among the lines; empty when all do.
std::string missing_in_order(const Lines &expected, const Lines &got);

// "-" expected and not come, "+" come and not expected, " " both; long equal stretches are cut.
std::string difference(const Lines &expected, const Lines &got);

}  // namespace scenario

#endif
