// What the agent sent, the status blob apart, and somebody looks at later: kept from one look to the next.
#ifndef KELVANE_TESTS_SIMULATE_SENT_H
#define KELVANE_TESTS_SIMULATE_SENT_H

#include <cstdint>
#include <map>
#include <string>

#include "tests/simulate/cloud.h"

namespace simulate {

struct Sent {
  std::string vm_status;                          // to the metadata service
  std::map<std::string, std::string> extensions;  // to the metadata service, by the name in the address
  std::string provisioning;                       // the states told, "N" for not ready and "R" for ready
};

// A request goes out.
void sent(const Request &request);

// The last of each kind since they were forgotten; empty for none.
const Sent &sent_last();
void sent_forget();

// Telemetry events in all posts of this life.
uint64_t events_posted();

}  // namespace simulate

#endif
