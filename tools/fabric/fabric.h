// The fabric itself: takes requests from the server's threads one at a time, lets faults, services and the journal do
// their part, and gives back what is to be put on the wire. Every public function may be called from any thread; each
// holds the one lock of the fabric and does not wait for the network. A service that fails inside answers 500.
#ifndef KELVANE_TOOLS_FABRIC_FABRIC_H
#define KELVANE_TOOLS_FABRIC_FABRIC_H

#include <mutex>
#include <string>

#include "tools/fabric/expectations.h"
#include "tools/fabric/faults.h"
#include "tools/fabric/journal.h"
#include "tools/fabric/world.h"

namespace kelvane::fabric {

class Fabric {
 public:
  // Makes the tenant's keys; throws CryptoError, or std::runtime_error for the journal.
  Fabric(Scenario scenario, const std::string &journal_path);

  // One request of the agent.
  Delivery handle(const Request &request);
  // A fresh connection: true when it is to be closed unread.
  bool refuses_connection();

  // What the control requests ask for.
  Verdict verdict();
  std::string journal();
  // The status documents that were uploaded whole.
  std::string status_documents();
  std::string state(bool listening);
  // The incarnation that is now current; empty when there was no next goal state.
  std::string advance();
  void add_fault(FaultSpec spec);
  bool enable_fault(const std::string &name, bool enabled);
  bool remove_fault(const std::string &name);
  // Everything as at the start, but for the tenant's keys and certificates.
  void reset();

  // For the artifacts, before the server runs.
  const World &world() const { return world_; }

 private:
  Answer serve(const Request &request, const Target &target, Exchange &exchange);

  std::mutex lock_;
  World world_;
  Faults faults_;
  Journal journal_;
};

}  // namespace kelvane::fabric

#endif
