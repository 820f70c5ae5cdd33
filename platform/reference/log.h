// The way to the system's log that does not show on standard error or in a sink; message() uses it too.
#ifndef KELVANE_PLATFORM_REFERENCE_LOG_H
#define KELVANE_PLATFORM_REFERENCE_LOG_H

#include <string_view>

namespace kelvane::reference {

// Sends each line of the text as one entry, facility daemon. A log service that is absent or slow loses it.
void log_to_system(std::string_view text) noexcept;

}  // namespace kelvane::reference

#endif
