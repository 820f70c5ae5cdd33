// What a process has pending, and how it is written.
#ifndef KELVANE_PLATFORM_REFERENCE_CHANGES_H
#define KELVANE_PLATFORM_REFERENCE_CHANGES_H

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/reference/durable.h"
#include "platform/reference/history.h"

namespace kelvane::reference {

// A record as it is to be.
struct Change {
  Place place;
  Record record;
  bool appended;  // the record is new: the database does not have it under this number
};

using RecordId = std::pair<uint32_t, uint32_t>;  // table, key number
using Changes = std::map<RecordId, Change>;      // in an order in which each record comes behind the one that owns it

struct Pending {
  Changes changes;
  std::vector<HistoryEntry> passwords;

  size_t count() const { return changes.size() + passwords.size(); }
};

// Null when the record is to stay as it is.
const Change *find_change(const Changes &changes, const Place &place, uint32_t number);

// For a transaction of the caller's. What other processes did meanwhile decides where a record lands, but never makes
// the whole fail: that would leave this process unable to write for ever. Returns what is to be logged of that when the
// transaction was committed. Throws DatabaseError.
std::vector<std::string> write_changes(sqlite3 *database, Pending what);

}  // namespace kelvane::reference

#endif
