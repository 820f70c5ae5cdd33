// What is known of the requests of this life.
#ifndef KELVANE_TESTS_SIMULATE_REQUESTS_H
#define KELVANE_TESTS_SIMULATE_REQUESTS_H

namespace simulate {

// Handles that were made and not cleaned up.
int requests_open();

}  // namespace simulate

#endif
