// The level-gated log. Every diagnostic line of the agent is a printf-style call of the platform's message; a gated
// line prints only when the agent debug level of the shared debug record is strictly greater than the line's threshold.
// Texts are written out whole at the call, "[kelvane]: " and line end included, so that they can be found by search.
// Ungated lines call message directly. The number that a line prints behind a function name is a fixed part of its
// text: it names the place and does not follow the source.
#ifndef KELVANE_CORE_BASE_LOG_H
#define KELVANE_CORE_BASE_LOG_H

#include <stdint.h>

#include "platform/platform.h"

namespace kelvane {

// Whether lines with this threshold print now. Without a debug record only ungated lines print.
bool log_above(int32_t threshold);

}  // namespace kelvane

// A line that prints at levels above the threshold: 6 for traces, 5 for progress, 0 for failures ("level 1 or more").
#define LOG_ABOVE(threshold, ...)          \
  do {                                     \
    if (::kelvane::log_above(threshold)) { \
      message(__VA_ARGS__);                \
    }                                      \
  } while (0)

#endif
