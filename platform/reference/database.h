// The one connection to the database file: creates the file with the factory defaults, sets a damaged one aside, and
// gives the handle to the other modules. May wait for another process for a few seconds. Throws DatabaseError or
// std::system_error. A damaged file is renamed to "<name>.damaged-<time>" with its log file, never written.
#ifndef KELVANE_PLATFORM_REFERENCE_DATABASE_H
#define KELVANE_PLATFORM_REFERENCE_DATABASE_H

#include <sqlite3.h>

#include <cstdint>

namespace kelvane::reference {

// Connects; nothing happens when there is a connection.
void connect_database();

void disconnect_database();

// The handle, or null when not connected. When the file was moved or removed since (another process set it aside), this
// closes it and connects to the one that is now in its place: a handle is good until the next call of this.
sqlite3 *database();

// Another one after each connection: what was read through an earlier handle may not be in this database.
uint64_t database_generation();

// Whether the connected file was moved or removed. There must be a connection.
bool database_moved();

}  // namespace kelvane::reference

#endif
