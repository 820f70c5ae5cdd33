#include "platform/reference/store.h"

#include <algorithm>
#include <map>
#include <utility>

#include "platform/platform.h"
#include "platform/reference/database.h"
#include "platform/reference/history.h"
#include "platform/reference/key_numbers.h"

namespace kelvane::reference {
namespace {

struct Pending {
  Place place;
  Record record;
  bool appended;  // the record is new: no database has it under this number
};

constexpr int kAttempts = 3;

using RecordId = std::pair<uint32_t, uint32_t>;  // table, key number

// In the order in which they were made: a change may need a name that one before it has freed.
std::vector<Pending> pending;

RecordId id_of(const Pending &change) {
  return {change.place.table->definition.number, change.record.number};
}

RecordId parent_of(const Pending &change) {
  return {change.place.table->parent, change.place.parent_number};
}

bool same_place(const Place &a, const Place &b) {
  return a.table == b.table && a.parent_number == b.parent_number;
}

// The record's newest change.
Pending *find_pending(const Table &table, uint32_t number) {
  const RecordId id = {table.definition.number, number};
  const auto found =
      std::find_if(pending.rbegin(), pending.rend(), [&](const Pending &change) { return id_of(change) == id; });
  return found == pending.rend() ? nullptr : &*found;
}

void report(const Pending &change, const char *what) {
  message("platform: table %u, record \"%s\": %s\n", change.place.table->definition.number, change.record.key.c_str(),
          what);
}

// Where a change goes in another database than the one that its numbers are of; false: nowhere.
bool move_to(sqlite3 *handle, Pending &change, std::map<RecordId, uint32_t> &new_numbers) {
  if (!change.appended) {
    const std::optional<Record> found = durable_load(handle, change.place, change.record.number);
    return found && found->key == change.record.key;
  }
  if (change.place.table->parent != 0) {
    const auto parent = new_numbers.find(parent_of(change));
    if (parent == new_numbers.end()) {
      return false;
    }
    change.place.parent_number = parent->second;
  }
  const auto [number, first] = new_numbers.try_emplace(id_of(change));
  if (first) {
    number->second = take_key_number(handle, *change.place.table);
  }
  change.record.number = number->second;
  return true;
}

void move_pending(sqlite3 *handle) {
  std::map<RecordId, uint32_t> new_numbers;
  std::vector<Pending> moved;
  for (Pending change : pending) {
    if (move_to(handle, change, new_numbers)) {
      moved.push_back(std::move(change));
    } else {
      report(change, "is not in the new configuration");
    }
  }
  pending = std::move(moved);
}

// The connection, for the length of one call from outside: asked again, there may be another one, and this one closed.
sqlite3 *current_database() {
  static uint64_t known = 0;
  sqlite3 *handle = database();
  if (handle != nullptr && known != database_generation()) {
    forget_key_numbers();
    move_pending(handle);
    known = database_generation();
  }
  return handle;
}

std::optional<Record> load(sqlite3 *handle, const Place &place, uint32_t number) {
  const Pending *change = find_pending(*place.table, number);
  if (change == nullptr) {
    return durable_load(handle, place, number);
  }
  if (!same_place(change->place, place) || (!change->appended && !durable_load(handle, place, number))) {
    return std::nullopt;
  }
  return change->record;
}

std::optional<Record> find(sqlite3 *handle, const Place &place, std::string_view key) {
  if (place.table->kind != TableKind::kKeyed || key.empty() || key.size() >= NCFG_NAME_SIZE) {
    return std::nullopt;
  }
  for (const Pending &change : pending) {
    if (same_place(change.place, place) && change.record.key == key) {
      const std::optional<Record> now = load(handle, place, change.record.number);
      if (now && now->key == key) {
        return now;
      }
    }
  }
  std::optional<Record> found = durable_find(handle, place, key);
  const bool renamed = found && find_pending(*place.table, found->number) != nullptr;
  return renamed ? std::nullopt : found;
}

bool parent_exists(sqlite3 *handle, const Place &place) {
  return place.table->parent == 0 ||
         load(handle, {.table = find_table(place.table->parent), .parent_number = 0}, place.parent_number);
}

Record record_of(const Table &table, uint32_t number, const std::string &key, const void *record) {
  const auto *bytes = static_cast<const uint8_t *>(record);
  return {.number = number, .key = key, .bytes = Bytes(bytes, bytes + table.definition.record_size)};
}

// Only a new name needs a place of its own in the order.
void keep_change(const Place &place, Record record) {
  Pending *earlier = find_pending(*place.table, record.number);
  if (earlier != nullptr && (earlier->record.key == record.key || earlier == &pending.back())) {
    earlier->record = std::move(record);
  } else {
    const bool appended = earlier != nullptr && earlier->appended;
    pending.push_back({.place = place, .record = std::move(record), .appended = appended});
  }
}

// Writes pending changes one by one. What other processes did meanwhile decides where a record lands, but never makes
// the whole fail: that would leave this process unable to write for ever.
class Writer {
 public:
  explicit Writer(sqlite3 *handle) : handle_(handle) {}

  void write(Pending change) {
    const RecordId id = id_of(change);
    change.place.parent_number = current_number(parent_of(change));
    change.record.number = current_number(id);
    if (!change.appended || numbers_.count(id) != 0) {
      replace(change);
    } else if (append(change)) {
      numbers_[id] = change.record.number;
    }
  }

 private:
  bool append(Pending &change) {
    const Place &place = change.place;
    if (place.table->parent != 0 && !durable_exists(handle_, place.table->parent, place.parent_number)) {
      report(change, "its owner was deleted meanwhile");
      return false;
    }
    if (const std::optional<Record> same = durable_find(handle_, place, change.record.key)) {
      report(change, "was also made by another process, and is replaced");
      change.record.number = same->number;
      durable_replace(handle_, place, change.record);
      return true;
    }
    if (durable_exists(handle_, place.table->definition.number, change.record.number)) {
      change.record.number = take_key_number_at_once(handle_, *place.table);
    }
    durable_insert(handle_, place, change.record);
    return true;
  }

  void replace(const Pending &change) {
    if (!durable_exists(handle_, change.place.table->definition.number, change.record.number)) {
      report(change, "was deleted meanwhile");
    } else if (!durable_replace(handle_, change.place, change.record)) {
      report(change, "the name was given to another record meanwhile");
    }
  }

  uint32_t current_number(const RecordId &id) {
    const auto found = numbers_.find(id);
    return found == numbers_.end() ? id.second : found->second;
  }

  sqlite3 *handle_;
  std::map<RecordId, uint32_t> numbers_;  // under which the new records were written
};

void write_pending(sqlite3 *handle) {
  Writer writer(handle);
  for (const Pending &change : pending) {
    writer.write(change);
  }
  history_write(handle);
}

}  // namespace

std::optional<Record> store_find(const Place &place, std::string_view key) {
  sqlite3 *handle = current_database();
  return handle == nullptr ? std::nullopt : find(handle, place, key);
}

std::optional<Record> store_load(const Place &place, uint32_t number) {
  sqlite3 *handle = current_database();
  return handle == nullptr ? std::nullopt : load(handle, place, number);
}

std::vector<uint32_t> store_numbers(const Place &place) {
  sqlite3 *handle = current_database();
  if (handle == nullptr) {
    return {};
  }
  std::vector<uint32_t> numbers = durable_numbers(handle, place);
  for (const Pending &change : pending) {
    if (change.appended && same_place(change.place, place)) {
      numbers.push_back(change.record.number);
    }
  }
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  return numbers;
}

bool store_change(const Place &place, uint32_t number, const void *record) {
  sqlite3 *handle = current_database();
  const std::optional<std::string> key = key_in_record(*place.table, record);
  if (handle == nullptr || !key || !load(handle, place, number)) {
    return false;
  }
  const std::optional<Record> same = find(handle, place, *key);
  if (same && same->number != number) {
    return false;
  }
  keep_change(place, record_of(*place.table, number, *key, record));
  return true;
}

bool store_append(const Place &place, const void *record) {
  sqlite3 *handle = current_database();
  const std::optional<std::string> key = key_in_record(*place.table, record);
  if (handle == nullptr || place.table->kind == TableKind::kSingle || !key || !parent_exists(handle, place) ||
      find(handle, place, *key)) {
    return false;
  }
  const uint32_t number = take_key_number(handle, *place.table);
  pending.push_back({.place = place, .record = record_of(*place.table, number, *key, record), .appended = true});
  return true;
}

bool store_has_pending() {
  return !pending.empty() || history_has_pending();
}

bool store_write(const std::function<bool(sqlite3 *)> &step) {
  for (int attempt = 1; attempt <= kAttempts; ++attempt) {
    sqlite3 *handle = current_database();
    if (handle == nullptr) {
      return false;
    }
    Transaction transaction(handle);
    if (database_moved()) {
      continue;  // while this waited for the lock: what is written here would be lost
    }
    write_pending(handle);
    if (!step(handle)) {
      return false;
    }
    transaction.commit();
    pending.clear();
    history_drop();
    return true;
  }
  throw DatabaseError(SQLITE_BUSY, "the configuration database is moved away again and again");
}

void store_drop() {
  pending.clear();
  history_drop();
  forget_key_numbers();
}

}  // namespace kelvane::reference
