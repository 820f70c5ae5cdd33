// Key numbers for new records: each is given out once in a database, whatever processes use it. Throws DatabaseError.
#ifndef KELVANE_PLATFORM_REFERENCE_KEY_NUMBERS_H
#define KELVANE_PLATFORM_REFERENCE_KEY_NUMBERS_H

#include <sqlite3.h>

#include <cstdint>

#include "platform/reference/schema.h"

namespace kelvane::reference {

// Outside of a transaction.
uint32_t take_key_number(sqlite3 *database, const Table &table);

// As part of the caller's transaction, for a record that is written in it.
uint32_t take_key_number_at_once(sqlite3 *database, const Table &table);

// To be called when the next number is for another database.
void forget_key_numbers();

}  // namespace kelvane::reference

#endif
