#include "platform/reference/store.h"

#include <algorithm>
#include <map>
#include <utility>

#include "platform/platform.h"
#include "platform/reference/database.h"
#include "platform/reference/history.h"

namespace kelvane::reference {
namespace {

struct Pending {
  Place place;
  std::string key;
  Bytes bytes;
  bool appended;
};

using PendingId = std::pair<uint32_t, uint32_t>;  // table, key number: a parent comes before its children

struct Numbers {
  int64_t next = 1;
  int64_t last = 0;
};

constexpr int64_t kNumbersReserved = 16;

std::map<PendingId, Pending> pending;
std::map<uint32_t, Numbers> reserved;

int64_t table_number(const Table &table) {
  return table.definition.number;
}

bool same_place(const Place &a, const Place &b) {
  return a.table == b.table && a.parent_number == b.parent_number;
}

const Pending *find_pending(const Table &table, uint32_t number) {
  const auto found = pending.find({table.definition.number, number});
  return found == pending.end() ? nullptr : &found->second;
}

Record sized(const Table &table, Record record) {
  record.bytes.resize(table.definition.record_size);
  return record;
}

std::optional<Record> load_durable(const Place &place, uint32_t number) {
  sqlite3 *handle = database();
  if (handle == nullptr) {
    return std::nullopt;
  }
  Statement statement(
      handle, "SELECT key, record FROM records WHERE table_number = ? AND key_number = ? AND parent_number = ?");
  statement.bind(table_number(*place.table)).bind(int64_t{number}).bind(int64_t{place.parent_number});
  if (!statement.step()) {
    return std::nullopt;
  }
  return sized(*place.table, {.number = number, .key = statement.text(0), .bytes = statement.bytes(1)});
}

std::optional<Record> find_durable(sqlite3 *handle, const Place &place, std::string_view key) {
  Statement statement(
      handle, "SELECT key_number, record FROM records WHERE table_number = ? AND parent_number = ? AND key = ?");
  statement.bind(table_number(*place.table)).bind(int64_t{place.parent_number}).bind(key);
  if (!statement.step()) {
    return std::nullopt;
  }
  return sized(
      *place.table,
      {.number = static_cast<uint32_t>(statement.integer(0)), .key = std::string(key), .bytes = statement.bytes(1)});
}

std::optional<Record> find_pending_key(const Place &place, std::string_view key) {
  for (const auto &[id, change] : pending) {
    if (same_place(change.place, place) && change.key == key && (change.appended || load_durable(place, id.second))) {
      return Record{.number = id.second, .key = change.key, .bytes = change.bytes};
    }
  }
  return std::nullopt;
}

bool parent_exists(const Place &place) {
  if (place.table->parent == 0) {
    return true;
  }
  const Place parents = {.table = find_table(place.table->parent), .parent_number = 0};
  return store_load(parents, place.parent_number).has_value();
}

// Numbers are set aside in the database at once, so that those of two processes with pending records never meet.
uint32_t take_number(sqlite3 *handle, const Table &table) {
  Numbers &numbers = reserved[table.definition.number];
  if (numbers.next > numbers.last) {
    Transaction transaction(handle);
    Statement(handle,
              "INSERT INTO numbers VALUES (?, ?) ON CONFLICT (table_number) DO UPDATE SET last = last + excluded.last")
        .bind(table_number(table))
        .bind(kNumbersReserved)
        .step();
    Statement last(handle, "SELECT last FROM numbers WHERE table_number = ?");
    last.bind(table_number(table)).step();
    const int64_t end = last.integer(0);
    transaction.commit();
    numbers = {.next = end - kNumbersReserved + 1, .last = end};
  }
  if (numbers.next > int64_t{UINT32_MAX}) {
    throw DatabaseError(SQLITE_FULL, "no key number is left");
  }
  return static_cast<uint32_t>(numbers.next++);
}

void insert_durable(sqlite3 *handle, uint32_t number, const Pending &change) {
  Statement(handle, "INSERT INTO records VALUES (?, ?, ?, ?, ?)")
      .bind(table_number(*change.place.table))
      .bind(int64_t{number})
      .bind(int64_t{change.place.parent_number})
      .bind(change.key)
      .bind(change.bytes)
      .step();
}

void update_durable(sqlite3 *handle, const Table &table, uint32_t number, std::string_view key, const Bytes &bytes) {
  Statement(handle, "UPDATE records SET key = ?, record = ? WHERE table_number = ? AND key_number = ?")
      .bind(key)
      .bind(bytes)
      .bind(table_number(table))
      .bind(int64_t{number})
      .step();
}

// Whether another record of the place has this key already.
bool key_taken(sqlite3 *handle, const Place &place, std::string_view key, uint32_t number) {
  if (key.empty()) {
    return false;
  }
  const std::optional<Record> found = find_durable(handle, place, key);
  return found && found->number != number;
}

void report_overtaken(const Pending &change, const char *what) {
  message("platform: table %u, record \"%s\": %s\n", change.place.table->definition.number, change.key.c_str(), what);
}

// Writes pending records one by one. What other processes did meanwhile decides where a record lands, but never makes
// the whole fail: that would leave this process unable to write for ever.
class Writer {
 public:
  explicit Writer(sqlite3 *handle) : handle_(handle) {}

  void write(uint32_t number, Pending change) {
    change.place.parent_number = current_number(change.place.table->parent, change.place.parent_number);
    if (change.appended) {
      append(number, change);
    } else {
      replace(number, change);
    }
  }

 private:
  void append(uint32_t number, const Pending &change) {
    const Place &place = change.place;
    if (place.table->parent != 0 && !exists(place.table->parent, place.parent_number)) {
      report_overtaken(change, "its owner was deleted meanwhile");
      return;
    }
    const std::optional<Record> same = change.key.empty() ? std::nullopt : find_durable(handle_, place, change.key);
    if (same) {
      report_overtaken(change, "was also made by another process, and is replaced");
      update_durable(handle_, *place.table, same->number, change.key, change.bytes);
      renumbered_[{place.table->definition.number, number}] = same->number;
      return;
    }
    insert_durable(handle_, number, change);
  }

  void replace(uint32_t number, const Pending &change) {
    const Table &table = *change.place.table;
    if (!exists(table.definition.number, number)) {
      report_overtaken(change, "was deleted meanwhile");
    } else if (key_taken(handle_, change.place, change.key, number)) {
      report_overtaken(change, "the name was given to another record meanwhile");
    } else if (table.parent == 0) {
      durable_replace(handle_, table, number, {.number = number, .key = change.key, .bytes = change.bytes});
    } else {
      update_durable(handle_, table, number, change.key, change.bytes);
    }
  }

  bool exists(uint32_t table, uint32_t number) {
    Statement statement(handle_, "SELECT 1 FROM records WHERE table_number = ? AND key_number = ?");
    return statement.bind(int64_t{table}).bind(int64_t{number}).step();
  }

  uint32_t current_number(uint32_t table, uint32_t number) {
    const auto found = renumbered_.find({table, number});
    return found == renumbered_.end() ? number : found->second;
  }

  sqlite3 *handle_;
  std::map<PendingId, uint32_t> renumbered_;
};

void write_pending(sqlite3 *handle) {
  Writer writer(handle);
  for (const auto &[id, change] : pending) {
    writer.write(id.second, change);
  }
  history_write(handle);
}

bool keep_pending(const Place &place, uint32_t number, const void *record, bool appended) {
  const std::optional<std::string> key = key_in_record(*place.table, record);
  if (!key) {
    return false;
  }
  const std::optional<Record> same = key->empty() ? std::nullopt : store_find(place, *key);
  if (same && same->number != number) {
    return false;
  }
  const auto *bytes = static_cast<const uint8_t *>(record);
  pending[{place.table->definition.number, number}] = {
      .place = place,
      .key = *key,
      .bytes = Bytes(bytes, bytes + place.table->definition.record_size),
      .appended = appended};
  return true;
}

}  // namespace

std::optional<Record> store_find(const Place &place, std::string_view key) {
  sqlite3 *handle = database();
  if (handle == nullptr || place.table->kind != TableKind::kKeyed || key.empty() || key.size() >= NCFG_NAME_SIZE) {
    return std::nullopt;
  }
  if (std::optional<Record> found = find_pending_key(place, key)) {
    return found;
  }
  std::optional<Record> found = find_durable(handle, place, key);
  const bool renamed = found && find_pending(*place.table, found->number) != nullptr;
  return renamed ? std::nullopt : found;
}

std::optional<Record> store_load(const Place &place, uint32_t number) {
  if (database() == nullptr) {
    return std::nullopt;
  }
  const Pending *change = find_pending(*place.table, number);
  if (change == nullptr) {
    return load_durable(place, number);
  }
  if (!same_place(change->place, place) || (!change->appended && !load_durable(place, number))) {
    return std::nullopt;
  }
  return Record{.number = number, .key = change->key, .bytes = change->bytes};
}

std::vector<uint32_t> store_numbers(const Place &place) {
  std::vector<uint32_t> numbers;
  sqlite3 *handle = database();
  if (handle == nullptr) {
    return numbers;
  }
  Statement statement(handle, "SELECT key_number FROM records WHERE table_number = ? AND parent_number = ?");
  statement.bind(table_number(*place.table)).bind(int64_t{place.parent_number});
  while (statement.step()) {
    numbers.push_back(static_cast<uint32_t>(statement.integer(0)));
  }
  for (const auto &[id, change] : pending) {
    if (change.appended && same_place(change.place, place)) {
      numbers.push_back(id.second);
    }
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

bool store_change(const Place &place, uint32_t number, const void *record) {
  if (!store_load(place, number)) {
    return false;
  }
  const Pending *earlier = find_pending(*place.table, number);
  return keep_pending(place, number, record, earlier != nullptr && earlier->appended);
}

bool store_append(const Place &place, const void *record) {
  sqlite3 *handle = database();
  if (handle == nullptr || place.table->kind == TableKind::kSingle || !parent_exists(place)) {
    return false;
  }
  const std::optional<std::string> key = key_in_record(*place.table, record);
  if (!key || store_find(place, *key)) {
    return false;
  }
  return keep_pending(place, take_number(handle, *place.table), record, true);
}

bool store_has_pending() {
  return !pending.empty() || history_has_pending();
}

bool store_write(const std::function<bool(sqlite3 *)> &step) {
  sqlite3 *handle = database();
  if (handle == nullptr) {
    return false;
  }
  Transaction transaction(handle);
  write_pending(handle);
  if (!step(handle)) {
    return false;
  }
  transaction.commit();
  pending.clear();
  history_drop();
  return true;
}

uint32_t durable_number(sqlite3 *handle, const Table &table, std::string_view key) {
  const std::optional<Record> found =
      key.empty() ? std::nullopt : find_durable(handle, {.table = &table, .parent_number = 0}, key);
  return found ? found->number : 0;
}

bool durable_replace(sqlite3 *handle, const Table &table, uint32_t number, const Record &record) {
  const Place place = {.table = &table, .parent_number = 0};
  if (key_taken(handle, place, record.key, number)) {
    return false;
  }
  if (table.definition.number == NCFG_TABLE_ACCOUNTS) {
    const std::optional<Record> before = load_durable(place, number);
    if (before && before->key != record.key) {
      history_rename(handle, before->key, record.key);
    }
  }
  update_durable(handle, table, number, record.key, record.bytes);
  return true;
}

void durable_delete(sqlite3 *handle, const Table &table, const Record &record) {
  if (table.definition.number == NCFG_TABLE_ACCOUNTS) {
    Statement(handle, "DELETE FROM records WHERE parent_number = ?").bind(int64_t{record.number}).step();
    Statement(handle, "DELETE FROM ssh_keys WHERE account_number = ?").bind(int64_t{record.number}).step();
    history_forget(handle, record.key);
  }
  Statement(handle, "DELETE FROM records WHERE table_number = ? AND key_number = ?")
      .bind(table_number(table))
      .bind(int64_t{record.number})
      .step();
}

void store_drop() {
  pending.clear();
  reserved.clear();
  history_drop();
}

}  // namespace kelvane::reference
