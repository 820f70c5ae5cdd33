// The documents of the wire server, rendered from a revision. Kept rendered, as most requests are for the same two.
#ifndef KELVANE_TESTS_SIMULATE_DOCUMENTS_H
#define KELVANE_TESTS_SIMULATE_DOCUMENTS_H

#include <string>

#include "tests/simulate/world.h"

namespace simulate {

struct Rendered {
  int32_t incarnation = -1;
  std::string text;
};

// The current and the previous revision alternate at most.
template <typename Render>
const std::string &kept(Rendered (&slots)[2], const Revision &revision, Render render) {
  Rendered &slot = slots[revision.incarnation & 1];
  if (slot.incarnation != revision.incarnation) {
    slot.text = render(revision);
    slot.incarnation = revision.incarnation;
  }
  return slot.text;
}

const std::string &goal_state_document(const Revision &revision);
const std::string &extensions_document(const Revision &revision);
const std::string &certificates_document(const Revision &revision);
const std::string &versions_document();

// What the cloud writes for a state that is asked for.
const char *asked_text(const Wanted &wanted);

// The protected settings of those that have any; mostly no message at all.
std::string protected_text(const Wanted &wanted);

}  // namespace simulate

#endif
