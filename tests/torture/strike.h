// What can be done to a run of the agent, and the list of all of it: every site of an undisturbed run, struck in each
// of the ways of its class. A strike has an address, "wire/memory/17/ENOMEM+", by which it is told and played again.
#ifndef KELVANE_TESTS_TORTURE_STRIKE_H
#define KELVANE_TESTS_TORTURE_STRIKE_H

#include <string>
#include <vector>

#include "tests/torture/sites.h"

namespace torture {

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
  // Whether it is to go on asking what the platform wants: a disc that is full or gone is no reason not to.
  bool leaves_questions() const;
  // What the sandbox is told for the second.
  std::string second_fault() const;
  std::string second_blow() const;
};

// All strikes of these sites: those that let calls fail, or those that kill.
std::vector<Strike> strikes_of(const std::string &protocol, const std::vector<Site> &sites, bool kill);

}  // namespace torture

#endif
