// What goes wrong on purpose: which fault befalls which request, and what then goes over the wire. Owned by the
// fabric, which holds the lock; planning a delivery is pure. Nothing here blocks or touches the network: the server
// carries the plan out.
#ifndef KELVANE_TOOLS_FABRIC_FAULTS_H
#define KELVANE_TOOLS_FABRIC_FAULTS_H

#include <list>
#include <string>

#include "tools/fabric/http.h"
#include "tools/fabric/scenario.h"

namespace kelvane::fabric {

struct Fault {
  FaultSpec spec;
  int64_t seen = 0;     // requests (or connections) that fitted
  int64_t applied = 0;  // of those, the ones it befell
};

class Faults {
 public:
  explicit Faults(const std::vector<FaultSpec> &specs);

  // The fault that befalls this request, or none; every enabled fault that fits counts it. Valid until the next
  // change of the list.
  const FaultSpec *choose(const Request &request);
  // The same for a fresh connection, which is not read.
  const FaultSpec *choose_for_connection();

  // Adds a fault, in place of one with the same name.
  void add(FaultSpec spec);
  // Both return false when no fault has that name. Enabling one starts its counts anew.
  bool enable(const std::string &name, bool enabled);
  bool remove(const std::string &name);
  const std::list<Fault> &all() const { return all_; }

 private:
  const FaultSpec *first_due(const Request *request);

  std::list<Fault> all_;
};

// Whether the answer still reaches the agent whole, apart from an element it may lack.
bool delivers_whole(const FaultSpec *fault);

enum class Ending { kKeep, kClose, kReset, kHold };

// What the server has to do for one request.
struct Delivery {
  int status = 0;                    // of the answer; 0 when there is none
  std::vector<Header> headers = {};  // of the answer, as sent
  std::string body = {};             // of the answer, as sent
  std::string bytes = {};            // what goes over the wire, as far as it is sent
  size_t filler = 0;                 // how many more bytes "x" follow
  int64_t delay_ms = 0;              // before the first byte
  size_t drip_bytes = 0;             // 0: all at once; else so many at a time
  int64_t drip_ms = 0;               // with this long between them
  Ending ending = Ending::kKeep;
  bool stop_listening = false;    // afterwards
  int64_t stop_listening_ms = 0;  // for so long; 0: until told otherwise
};

// The plan for an answer under a fault (or none). An answer to HEAD has no body.
Delivery plan_delivery(Answer answer, const FaultSpec *fault, const Request &request);

}  // namespace kelvane::fabric

#endif
