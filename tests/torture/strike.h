// What can be done to a run of the agent, and the list of all of it: every site of an undisturbed run, struck in each
// of the ways of its class. A strike has an address, "wire/memory/17/ENOMEM+", by which it is told and played again.
// Nothing here blocks; what cannot be read throws std::runtime_error.
#ifndef KELVANE_TESTS_TORTURE_STRIKE_H
#define KELVANE_TESTS_TORTURE_STRIKE_H

#include <cstddef>
#include <string>
#include <vector>

namespace torture {

// One call of the undisturbed run (tools/sandbox/sites.h).
struct Site {
  std::string call_class;
  size_t number = 0;
  std::string call;  // with its subject, for people
};

// What the line begins with that tells where the run was struck first.
constexpr char kStruckLine[] = "struck ";

struct Strike {
  std::string protocol;  // "wire" or "metadata"
  Site site;
  // An errno, "SHORT", "FULL" or "DEAD", with "+" for all later calls; "KILL", "POWER", "POWER1" to "POWER3"; of
  // requests the number of libcurl's result ("7", "28", "56"), or "fabric:KIND" with what the kind takes.
  std::string blow;
  std::string second;      // what ends the next start, too: "platform:12:KILL"; empty for none
  std::string place = "";  // the call in words, as in_words says it of the undisturbed run

  std::string address() const;
  // What the sandbox is told with --fault; empty for a blow of the fabric's.
  std::string fault() const;
  // The fabric's fault as JSON; empty for the sandbox's.
  std::string fabric_fault() const;
  bool kills() const;
  // Whether the agent's loop is to go on as if nothing were: one call fails, and those that follow do not.
  bool leaves_a_loop() const;
  // What the sandbox is told for the second.
  std::string second_fault() const;
  std::string second_blow() const;
};

// The sites in a file that the sandbox wrote.
std::vector<Site> read_sites(const std::string &file);

// The sites in that file up to the one at which the run was struck first, which is the last; only those of its class,
// and the requests. Empty when no strike fell.
std::vector<Site> read_to_strike(const std::string &file);

// A call and where it is among these: behind how many requests, and which of those with that text since then.
std::string in_words(const std::vector<Site> &sites, const Site &one);

// Whether the last of the sites up to a strike is this one of those: at the same place in both.
bool ends_with_call(const std::vector<Site> &to_strike, const std::vector<Site> &those, const Site &one);

// The number at which to strike this one of those next time, when the strike fell on another call: as far from its own
// as the number of the call that was struck is from that call's among those, but no less than 1. A call that those do
// not have is one more, and the last one before it that they have is taken. When they have none, the number that the
// call has in the whole struck run; its own when it is not there either.
size_t aimed_anew(const std::vector<Site> &those, const Site &one, const std::vector<Site> &to_strike,
                  const std::vector<Site> &whole);

// All strikes of these sites: those that let calls fail, or those that kill.
std::vector<Strike> strikes_of(const std::string &protocol, const std::vector<Site> &sites, bool kill);

// Of kills, about one in so many, each with another one in the start that follows: both by lots that hang on their
// addresses alone, so that a kill more or less changes hardly any other pair.
std::vector<Strike> twice(const std::vector<Strike> &all, size_t every);

// Those of all with these addresses, with commas between; a pair is any two kills of one protocol, whether or not twice
// draws it. Throws std::runtime_error for an address that none of them has.
std::vector<Strike> with_addresses(const std::vector<Strike> &all, const std::string &addresses);

}  // namespace torture

#endif
