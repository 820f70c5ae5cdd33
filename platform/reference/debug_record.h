// The debug record that agent and tools share: a small file, mapped by each process.
#ifndef KELVANE_PLATFORM_REFERENCE_DEBUG_RECORD_H
#define KELVANE_PLATFORM_REFERENCE_DEBUG_RECORD_H

namespace kelvane::reference {

// Maps the record and points nCfg_debug_zone to it. When the file cannot be had, this says so in the log and leaves the
// process the record that it mapped before, or gives it one of its own. One record or the other stays there to the end
// of the process: a signal handler may look at any time.
void map_debug_record() noexcept;

}  // namespace kelvane::reference

#endif
