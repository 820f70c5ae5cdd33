// The differences that are meant to stay after a strike: the agent does one thing after the other as it is told to,
// goes on after certain failures, and marks the appliance as provisioned all the same. Each row says which strikes,
// which places of the outcome, and why; a row that fits nothing any more is to go. Nothing here blocks.
#ifndef KELVANE_TESTS_TORTURE_PRESCRIBED_H
#define KELVANE_TESTS_TORTURE_PRESCRIBED_H

#include <set>
#include <string>
#include <vector>

#include "tests/torture/outcome.h"
#include "tests/torture/strike.h"

namespace torture {

// What a run was at when it was struck, and what it had come to.
struct Circumstances {
  // The strike fell in front of the marker; in a start that finds it, in front of the last look at it. The second kill
  // of a pair: there was no marker when its start began.
  bool first_boot = false;
  bool marked = false;   // there was a marker behind the struck run
  bool asked = false;    // the struck run made a request
  bool restart = false;  // the struck run found the marker
};

// "STRIKE -> PLACE", the patterns by which this may differ after this strike; empty when it may not. The status with
// which the struck run ends is the place "exit", its longest times away from the loop, in seconds, are the place
// "wait".
std::string prescribed_difference(const Strike &strike, const Circumstances &around, const Difference &difference);

// Whether what else differs after the play says that a difference, which a row excuses, is not meant: custom data that
// is not in its place is to wait, whole, and a password is not excused by the event hub's command, which tells its
// failure.
bool contradicted(const Difference &one, const std::vector<Difference> &all);

// The pairs "STRIKE -> PLACE" of the rows that no play of this kind came to need, of which these are the pairs: each
// excuses what never happens, and is to go, but for the name of a place in memory that another build has.
std::vector<std::string> unused_pairs(const std::set<std::string> &used, bool kill);

}  // namespace torture

#endif
