// What the services share while the fabric runs: the scenario, the tenant, which goal state is current, what the agent
// was told, what it reported. Owned by the fabric, which alone holds the lock; the services read it and write what
// they are told. Nothing here blocks.
#ifndef KELVANE_TOOLS_FABRIC_WORLD_H
#define KELVANE_TOOLS_FABRIC_WORLD_H

#include <string>
#include <vector>

#include "tools/fabric/judge.h"
#include "tools/fabric/storage.h"
#include "tools/fabric/tenant.h"

namespace kelvane::fabric {

// The documents that the metadata service was sent, each under the resource it was sent to.
struct MetadataReports {
  std::vector<Upload> provisioning, vm_status, extension_status, telemetry;
};

class World {
 public:
  explicit World(Scenario scenario);
  // With the keys and certificates of another one, which has none any more.
  World(Scenario scenario, World &&other);

  const Scenario &scenario() const { return scenario_; }
  const Tenant &tenant() const { return tenant_; }
  const GoalStateSpec &goal_state() const { return scenario_.goal_states[current_]; }
  size_t goal_state_number() const { return current_; }
  // What the agent knows from the goal states that reached it whole.
  const Known &known() const { return known_; }
  size_t goal_states_delivered() const { return delivered_; }

  // Makes the next goal state the current one; false when there is none.
  bool advance();
  // Notes that the current goal state reached the agent, without the element `missing` when that is not empty; moves
  // on when it has been delivered as often as the scenario says.
  void goal_state_delivered(const std::string &missing);
  // Notes that a request was answered whole; moves on when it was the last one that the goal state waited for.
  void request_answered(const Request &request);
  // Every container the goal states told, the latest last.
  const std::vector<std::string> &told_container_ids() const { return container_ids_; }

  // What the agent reported in requests without a violation, in order.
  std::vector<HealthReport> health;
  std::vector<std::string> thumbprints;
  std::vector<Event> events;
  // What it put into blobs.
  Storage storage;
  MetadataReports metadata;
  // The certificate that its last request with one carried; none before.
  X509Ptr transport;

 private:
  Scenario scenario_;
  Tenant tenant_;
  size_t current_ = 0;
  int64_t delivered_of_current_ = 0;
  size_t delivered_ = 0;
  int64_t answered_of_current_ = 0;
  Known known_;
  std::vector<std::string> container_ids_;
};

}  // namespace kelvane::fabric

#endif
