// The sites of a run, as the sandbox writes them (tools/sandbox/sites.h): which call is which in two runs, and where to
// strike again when a strike fell on another one. Nothing here blocks; what cannot be read throws std::runtime_error.
#ifndef KELVANE_TESTS_TORTURE_SITES_H
#define KELVANE_TESTS_TORTURE_SITES_H

#include <cstddef>
#include <string>
#include <vector>

namespace torture {

// One call of a run.
struct Site {
  std::string call_class;
  size_t number = 0;
  std::string call;  // with its subject, for people
};

// What the line begins with that tells where the run was struck first.
constexpr char kStruckLine[] = "struck ";

// The sites in a file that the sandbox wrote.
std::vector<Site> read_sites(const std::string &file);

// Those in front of the loop's second pass.
std::vector<Site> read_sites_of_first_pass(const std::string &file);

// Whether the line, of sites or a trace, is a request for what the platform wants: it is asked in every pass, and again
// when there is no answer.
bool is_question(const std::string &line);

// The sites in that file up to the one at which the run was struck first, which is the last; only those of its class,
// and the requests. Empty when no strike fell.
std::vector<Site> read_to_strike(const std::string &file);

// A call and where it is among these: behind how many requests, and which of those with that text since then.
std::string in_words(const std::vector<Site> &sites, const Site &one);

// Whether the last of the sites up to a strike is this one of those: at the same place in both.
bool ends_with_call(const std::vector<Site> &to_strike, const std::vector<Site> &those, const Site &one);

// Whether a call with this text comes behind this one of those, or is it.
bool in_front_of(const std::string &call, const std::vector<Site> &those, const Site &one);

// The number at which to strike this one of those next time, when the strike fell on another call: as far from its own
// as the number of the call that was struck is from that call's among those, but no less than 1. A call that those do
// not have is one more, and the last one before it that they have is taken. When they have none, the number that the
// call has in the whole struck run; its own when it is not there either.
size_t aimed_anew(const std::vector<Site> &those, const Site &one, const std::vector<Site> &to_strike,
                  const std::vector<Site> &whole);

}  // namespace torture

#endif
