// What a new configuration holds: the tables of the database file and the factory records in them.
#ifndef KELVANE_PLATFORM_REFERENCE_DEFAULTS_H
#define KELVANE_PLATFORM_REFERENCE_DEFAULTS_H

#include <sqlite3.h>

namespace kelvane::reference {

// The marks in the file's header by which we know our own files, and the version of their layout.
inline constexpr int kApplicationId = 0x4b4c5643;
inline constexpr int kLayoutVersion = 1;

// Makes tables and factory records in an empty database, in one transaction.
void create_layout(sqlite3 *database);

// Whether a database is one of ours: marks, tables, and intact pages. Throws DatabaseError (SQLITE_CORRUPT or
// SQLITE_NOTADB when it is damaged or not ours).
void check_layout(sqlite3 *database);

}  // namespace kelvane::reference

#endif
