// A bad time for the appliance: for a few minutes up to an hour, calls into the platform and writes to its disk fail,
// three in ten.
#ifndef KELVANE_TESTS_SIMULATE_TROUBLE_H
#define KELVANE_TESTS_SIMULATE_TROUBLE_H

namespace simulate {

// It begins; the next one is drawn.
void trouble_begin();

// Whether this call into the platform fails. The power may go just then, too.
bool platform_fails(const char *call);

// What this call on a file fails with; 0 when it does not.
int file_fails(const char *call);

}  // namespace simulate

#endif
