// What the agent was told: which incarnation it last read whole and which extensions it therefore has, followed from
// the bytes that it was given, attempt by attempt, and from nothing that the agent itself says. Lives as long as the
// agent's process does.
#ifndef KELVANE_TESTS_SIMULATE_VIEW_H
#define KELVANE_TESTS_SIMULATE_VIEW_H

#include <curl/curl.h>

#include <string_view>

#include "tests/simulate/world.h"

namespace simulate {

struct View {
  int32_t incarnation;  // 0 before any
  Revision effective;   // incarnation 0 before any
};

const View &view();

// A GET for this address is over, with this result; collected is all that the caller's buffer holds by now, which may
// begin with what earlier attempts of the same call left.
void view_given(std::string_view url, CURLcode result, std::string_view collected);

// Whether the agent has been told everything that the cloud wants at the moment.
bool view_is_current();

}  // namespace simulate

#endif
