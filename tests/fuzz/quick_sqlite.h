// SQLite as quick as it can be in the fuzz targets of the reference platform, with its memory still watched. For
// programs that wrap sqlite3_prepare_v2, sqlite3_finalize and sqlite3_close.
#ifndef KELVANE_TESTS_FUZZ_QUICK_SQLITE_H
#define KELVANE_TESTS_FUZZ_QUICK_SQLITE_H

namespace fuzz {

// No locks, no statistics, and memory from a pool: the sanitizer's own takes more time than everything else. What is
// not lent from the pool is poisoned, so that a read behind a record's end, or of a freed one, is found all the same.
// To be called before SQLite is used; ends the program unless it does.
//
// Wrapped, a statement that was finalized is kept for the next one with the same text, until its connection is closed.
void make_sqlite_quick();

}  // namespace fuzz

#endif
