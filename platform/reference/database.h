// The one connection to the database file: creates the file with the factory defaults, sets a damaged one aside, and
// gives the handle to the other modules. May wait for another process for a few seconds. Throws DatabaseError,
// std::system_error, or std::runtime_error when that wait is in vain. A damaged file is renamed to
// "<name>.damaged-<time>" with its log files, never written. (Only a rollback journal that another program left beside
// it is played in by SQLite before anybody can look; we leave none.)
#ifndef KELVANE_PLATFORM_REFERENCE_DATABASE_H
#define KELVANE_PLATFORM_REFERENCE_DATABASE_H

#include <sqlite3.h>

#include <cstdint>

namespace kelvane::reference {

// Connects; nothing happens when there is a connection.
void connect_database();

void disconnect_database();

// The handle, or null when not connected. When the file was moved or removed since (another process set it aside), this
// connects to the one that is now in its place and closes the other connection, unless it throws: a handle is good
// until the next call of this.
sqlite3 *database();

// Another one for each database that this process was connected to, not for the same file opened again: what was read
// in one generation may not be in the next.
uint64_t database_generation();

}  // namespace kelvane::reference

#endif
