// The edge between the platform's C++ inside and its C calls: whatever a body throws becomes the call's failure value
// and one line in the appliance log. Every C call that can throw is wrapped in guarded().
#ifndef KELVANE_PLATFORM_REFERENCE_GUARD_H
#define KELVANE_PLATFORM_REFERENCE_GUARD_H

#include <exception>

#include "platform/platform.h"

namespace kelvane::reference {

// What body returns, or failure when it throws. call is the name for the log line.
template <typename Result, typename Body>
Result guarded(const char *call, Result failure, Body body) noexcept {
  try {
    return body();
  } catch (const std::exception &error) {
    message("platform: %s: %s\n", call, error.what());
  } catch (...) {
    message("platform: %s failed\n", call);
  }
  return failure;
}

}  // namespace kelvane::reference

#endif
