// The pid file "/var/run/kelvane.pid". Written once by start-up; never removed: the agent has no orderly end. A file
// that cannot be written is skipped silently.
#ifndef KELVANE_CORE_PID_FILE_H
#define KELVANE_CORE_PID_FILE_H

namespace kelvane {

// Writes the process id in decimal, without a line end.
void pid_file_write();

}  // namespace kelvane

#endif
