// What was played: a file with a line of JSON for each strike, written by several processes at once. A line counts for
// the build and the scenarios that it was played with, and for no other. Blocks for as long as the disk does; throws
// std::runtime_error.
#ifndef KELVANE_TESTS_TORTURE_STATE_H
#define KELVANE_TESTS_TORTURE_STATE_H

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/torture/bench.h"

namespace torture {

// A text that is another one when one of the files is; a folder stands for the scenarios in it.
std::string digest_of(const std::vector<std::string> &files_and_folders);

class State {
 public:
  // The file need not be there.
  State(const std::string &file, const std::string &digest);

  // Reads what stands in the file by now.
  void read();
  // Of a pair the second kill's call, too; empty when it did not fall.
  void write(const Strike &strike, const std::string &report, const std::string &missed, const Json &meant,
             const std::string &second = "") const;

  bool played(const Strike &strike) const;
  // Played, and it fell on another call than the planned one, or on none.
  bool missed(const Strike &strike) const;
  // Played as planned, with nothing to report: what the agent did not come through is played again.
  bool survived(const Strike &strike) const;
  // Played as planned, and the second kill of the pair fell.
  bool second_fell(const Strike &strike) const;
  // Survived, and the same call not so at some time before, of the same build: what comes and goes is worth a look.
  bool failed_before(const Strike &strike) const;
  // The differences that were meant, each with the patterns of its row.
  Json meant(const Strike &strike) const;

 private:
  std::string file_;
  std::string digest_;
  std::map<std::string, Json> lines_;  // by address, the last of each
  // The addresses and calls of those that had something to report at any time.
  std::set<std::pair<std::string, std::string>> failed_;
};

}  // namespace torture

#endif
