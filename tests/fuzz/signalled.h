// Signals of the fuzz target of small files: none is sent. For programs that wrap kill.
#ifndef KELVANE_TESTS_FUZZ_SIGNALLED_H
#define KELVANE_TESTS_FUZZ_SIGNALLED_H

#include <string>

namespace fuzz {

// From now on a signal is SIGTERM for one process whose number stands in this text; any other ends the program.
void signals_may_go_to(const std::string &text);

// The text without colons and without what stands behind a zero byte, and no longer than that.
std::string without_colons(std::string text, size_t length);

}  // namespace fuzz

#endif
