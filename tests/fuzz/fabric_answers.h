// Whole HTTP answers of the fabric, as it puts them on the wire: for the fuzz targets that stand where libcurl does.
#ifndef KELVANE_TESTS_FUZZ_FABRIC_ANSWERS_H
#define KELVANE_TESTS_FUZZ_FABRIC_ANSWERS_H

#include <string>
#include <vector>

#include "tools/fabric/fabric.h"

namespace fuzz {

struct WireAnswer {
  char asker;  // as the target of answers has it: 'g', 'h' or 'm'
  std::string name;
  std::string bytes;
};

// The answers in the fabric's current goal state to an agent with this transport certificate (base64), and what each
// of the scenario's faults makes of one of them.
std::vector<WireAnswer> fabric_answers(kelvane::fabric::Fabric *fabric, const std::string &certificate);

// The lines of an answer's head, the status line among them, each with its end.
std::vector<std::string> head_lines(const std::string &answer);

}  // namespace fuzz

#endif
