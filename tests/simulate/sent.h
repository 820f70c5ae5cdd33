// What the agent sent and somebody looks at later: kept from one look to the next.
#ifndef KELVANE_TESTS_SIMULATE_SENT_H
#define KELVANE_TESTS_SIMULATE_SENT_H

#include <cstdint>
#include <map>
#include <string>

#include "tests/simulate/cloud.h"

namespace simulate {

struct Sent {
  int types_asked;          // questions for the type of the status blob
  bool type_known;          // the last answer that named one named one that can be put
  bool type_taken;          // the last of them was answered
  int puts;                 // of the status blob, attempts and the making of one in pages among them
  std::string status_blob;  // whole or in pages
  std::string vm_status;    // to the metadata service
  std::map<std::string, std::string> extensions;  // to the metadata service, by the name in the address
  std::string provisioning;                       // the states told, "N" for not ready and "R" for ready
};

// A request goes out.
void sent(const Request &request);

// An answer names a type for the status blob; and whether the last attempt to ask for it was answered.
void sent_type_told(bool known);
void sent_type_taken(bool answered);

// The last of each kind since they were forgotten; empty for none.
const Sent &sent_last();
void sent_forget();

// Telemetry events in all posts of this life.
uint64_t events_posted();

}  // namespace simulate

#endif
