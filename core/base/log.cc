#include "core/base/log.h"

namespace kelvane {

bool log_above(int32_t threshold) {
  // Another process may change the level at any time.
  return nCfg_debug_zone != nullptr &&
         __atomic_load_n(&nCfg_debug_zone->agent_debug_level, __ATOMIC_RELAXED) > threshold;
}

}  // namespace kelvane
