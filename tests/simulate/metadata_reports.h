// What the metadata service is told at the end of a pass, compared with what it should be told.
#ifndef KELVANE_TESTS_SIMULATE_METADATA_REPORTS_H
#define KELVANE_TESTS_SIMULATE_METADATA_REPORTS_H

#include "tests/simulate/sent.h"

namespace simulate {

// The machine's status with the first three handlers of this pass, and a status for each extension that is installed.
void check_metadata_reports(const Sent &sent);

}  // namespace simulate

#endif
