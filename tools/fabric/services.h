// The services the fabric plays, one row each, one module each. The fabric asks the rows in order who claims a
// request. A service looks at the request, notes violations in the judgement and makes the answer; it never touches
// the network and never holds a lock. A new service is a module with a row in services.cc.
#ifndef KELVANE_TOOLS_FABRIC_SERVICES_H
#define KELVANE_TOOLS_FABRIC_SERVICES_H

#include "tools/fabric/world.h"

namespace kelvane::fabric {

struct Service {
  const char *name;
  bool (*claims)(const World &world, const Target &target);
  Answer (*serve)(World &world, const Request &request, const Target &target, Judgement &judgement);
};

// The service that claims the target, or none.
const Service *find_service(const World &world, const Target &target);

}  // namespace kelvane::fabric

#endif
