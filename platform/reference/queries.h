// What other modules need of the queries. The shared ones live from their first use to conf_end.
#ifndef KELVANE_PLATFORM_REFERENCE_QUERIES_H
#define KELVANE_PLATFORM_REFERENCE_QUERIES_H

#include "platform/platform.h"
#include "platform/reference/store.h"

namespace kelvane::reference {

// The records that a query is on.
Place place_of(const cmf_query *query);

// Frees the shared queries.
void drop_shared_queries();

}  // namespace kelvane::reference

#endif
