// What the agent was told: which incarnation or ETag it goes by and which extensions it therefore has, followed from
// the bytes that it was given, attempt by attempt, and from nothing that the agent itself says. Lives as long as the
// agent's process does.
#ifndef KELVANE_TESTS_SIMULATE_VIEW_H
#define KELVANE_TESTS_SIMULATE_VIEW_H

#include <curl/curl.h>

#include <string_view>

#include "tests/simulate/world.h"

namespace simulate {

struct View {
  // How often it was asked what the cloud wants: for the goal state, or for the metadata service's handlers.
  uint64_t asked;
  // How often for the extensions and the certificates that the goal state names, or for the metadata service's list of
  // certificates.
  uint64_t extensions_asked, certificates_asked;
  // Of the wire server: read last. Of the metadata service: the ETag of this pass. 0 for none.
  int32_t incarnation;
  // The extensions that this pass goes by. Of the wire server: read last; of the metadata service: read in this pass.
  // Incarnation 0 for none.
  Revision effective;
  // The extensions read last; and, under the metadata service, the ETag that came with them.
  Revision held;
  int32_t held_etag;
  // The ETag stands for a document that never came through, or that another one has come between, so that its change is
  // deliberately taken for handled: an ETag counts as soon as its header is there.
  bool missed;
  // The tenant's key came through: it stays, as no other ever does.
  bool tenant;
  // How often a certificate was asked for; and whether a list named one that was not asked for since.
  uint64_t certificates;
  bool certificate_due;
};

const View &view();

// What one attempt of a GET gave: its result, its body, all that the caller's buffer holds by now (which under the wire
// protocol begins with what earlier attempts of the same call left), and the header line that the agent may look at.
struct Given {
  std::string_view url;
  CURLcode result;
  std::string_view body;
  std::string_view collected;
  std::string_view header;
};
void view_given(const Given &given);

// A pass is over: counts the changes that the wire server told of, and those whose document did not come through.
void view_end_pass();

// Whether the agent has been told everything that the cloud wants at the moment.
bool view_is_current();

}  // namespace simulate

#endif
