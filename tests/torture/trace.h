// What a run's own files tell of it: how it ended, what it reported, whether it went on. Each takes the text of the
// sandbox's trace ("[62] stop"), of its sites, of the log or of what went to standard error. Nothing here blocks.
#ifndef KELVANE_TESTS_TORTURE_TRACE_H
#define KELVANE_TESTS_TORTURE_TRACE_H

#include <cstdint>
#include <string>

namespace torture {

// Whether the sandbox ended the run, as its time was up: the agent's own end is told in another word, with whatever
// status.
bool ended_in_time(const std::string &trace);

// Whether it asked for anything or sent anything, whatever came of it.
bool made_a_request(const std::string &trace);

// Whether it reported a first boot, over either protocol.
bool provisions(const std::string &trace);

// Whether it did anything that only a first boot does: reports, the host name, the factory's account.
bool provisions_in_part(const std::string &trace);

// Whether a status was sent, over either protocol; to ask for the blob's type is no report.
bool reports_status(const std::string &trace);

// Whether the run's end came while it waited for something: the loop sleeps a second, any other sleep is a wait.
bool stopped_in_a_wait(const std::string &trace);

// From the last question of what the platform wants to the run's end. Events are posted without passes, too.
int64_t seconds_since_a_question(const std::string &trace);

// The longest times away from the loop, in seconds: the one before its first turn, and those behind that.
struct Waits {
  int64_t first = 0;
  int64_t later = 0;
};
Waits longest_waits(const std::string &trace);

// Whether none is longer than that one of the usual ones by more than so much.
bool within(const Waits &waits, const Waits &usual, int64_t more);

// Of the questions what the platform wants that come behind the first line of the sites that begins so. What is asked
// before the loop's next turn is of the struck pass itself, and does not count.
struct GoingOn {
  bool asked = false;
  int64_t turns_without = 0;  // the most turns of the loop in a row without a question; a wait is no turn
};
GoingOn going_on_behind(const std::string &sites, const std::string &beginning);

// Whether a sanitizer, or the sandbox itself, says something.
bool complains(const std::string &errors);

bool finds_database_damaged(const std::string &log);

}  // namespace torture

#endif
