// The owner of a query of the caller's own on the configuration database, freed at the end. The shared queries that
// nCfg_query lends are never put into one.
#ifndef KELVANE_CORE_BASE_QUERY_OWNER_H
#define KELVANE_CORE_BASE_QUERY_OWNER_H

#include "core/base/owned.h"
#include "platform/platform.h"

namespace kelvane {

using QueryOwner = Owned<cmf_query, cmf_query_free>;

// The record of that name through a query that may be absent; null when either is.
inline void *query_find(cmf_query *query, const char *name) {
  constexpr int32_t kByName = 2;
  return query != nullptr ? cmf_query_do_table_find(query, 0, name, kByName) : nullptr;
}

}  // namespace kelvane

#endif
