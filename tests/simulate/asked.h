// Whether the extensions came to be what the platform asks for.
#ifndef KELVANE_TESTS_SIMULATE_ASKED_H
#define KELVANE_TESTS_SIMULATE_ASKED_H

namespace simulate {

// A pass is over. From the second on that knew everything of an incarnation, every extension is in the state that was
// asked for, as far as the rules let it be.
void check_asked();

}  // namespace simulate

#endif
