// What a pass tells the platform, and the status file that it leaves.
#ifndef KELVANE_TESTS_SIMULATE_REPORTS_H
#define KELVANE_TESTS_SIMULATE_REPORTS_H

namespace simulate {

// A pass is over; what it sent is forgotten afterwards.
void check_reports();

}  // namespace simulate

#endif
