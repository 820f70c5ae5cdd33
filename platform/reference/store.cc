#include "platform/reference/store.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include "platform/platform.h"
#include "platform/reference/changes.h"
#include "platform/reference/database.h"
#include "platform/reference/history.h"
#include "platform/reference/key_numbers.h"

namespace kelvane::reference {
namespace {

Pending pending;
uint64_t generation = 0;        // of the database that the pending changes are for
uint64_t first_generation = 1;  // since conf_init
bool write_failed = false;      // what the next write is to make durable has been dropped

bool same_place(const Place &a, const Place &b) {
  return a.table == b.table && a.parent_number == b.parent_number;
}

// How much is dropped.
size_t drop_pending() {
  forget_key_numbers();
  return std::exchange(pending, {}).count();
}

// The connection, for the length of one call from outside: asked again, there may be another one, and this one closed.
sqlite3 *current_database() {
  sqlite3 *handle = database();
  if (handle != nullptr && generation != database_generation()) {
    const size_t dropped = drop_pending();
    generation = database_generation();
    if (dropped > 0) {
      message("platform: the configuration was replaced, %zu pending changes are dropped\n", dropped);
      write_failed = true;
    }
  }
  return handle;
}

// Null also for a place of another database.
sqlite3 *database_of(const Place &place) {
  sqlite3 *handle = current_database();
  return place.generation == generation ? handle : nullptr;
}

// The same, for a change. One that is refused takes the password along that was remembered for it. Who makes it may
// take no notice: the next write fails in its stead, but not for a query from before conf_end.
sqlite3 *database_to_change(const Place &place, const std::string &key, const void *record) {
  sqlite3 *handle = current_database();
  if (handle == nullptr || place.generation == generation) {
    return handle;
  }
  const uint32_t table = place.table->definition.number;
  if (table == NCFG_TABLE_ACCOUNTS) {
    std::erase_if(pending.passwords, [&, password = stored_password(record)](const HistoryEntry &entry) {
      return entry.account == key && entry.password == password;
    });
  }
  if (place.generation < first_generation) {
    return nullptr;
  }
  message("platform: table %u, record \"%s\": the configuration was replaced since its query was opened\n", table,
          key.c_str());
  write_failed = true;
  return nullptr;
}

std::optional<Record> load(sqlite3 *handle, const Place &place, uint32_t number) {
  const Change *change = find_change(pending.changes, place, number);
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
  for (const auto &[id, change] : pending.changes) {
    if (same_place(change.place, place) && change.record.key == key) {
      if (std::optional<Record> now = load(handle, place, change.record.number)) {
        return now;
      }
    }
  }
  std::optional<Record> found = durable_find(handle, place, key);
  const bool renamed = found && find_change(pending.changes, place, found->number) != nullptr;
  return renamed ? std::nullopt : found;
}

bool parent_exists(sqlite3 *handle, const Place &place) {
  return place.table->parent == 0 ||
         load(handle, {.table = find_table(place.table->parent), .parent_number = 0}, place.parent_number);
}

void keep_change(const Place &place, uint32_t number, const std::string &key, const void *record, bool appended) {
  const auto *bytes = static_cast<const uint8_t *>(record);
  const size_t size = place.table->definition.record_size;
  pending.changes.insert_or_assign(RecordId(place.table->definition.number, number),
                                   Change{.place = place,
                                          .record = {.number = number, .key = key, .bytes = Bytes(bytes, bytes + size)},
                                          .appended = appended});
}

// Whether the database to which so many pending changes were written is the one in place.
bool is_still_in_place(uint64_t written_to, size_t changes) {
  try {
    current_database();
  } catch (...) {
    message("platform: a write to a configuration that is not found any more may be lost, with %zu pending changes\n",
            changes);
    throw;
  }
  if (generation != written_to) {
    message("platform: a write to a configuration that was replaced is lost, with %zu pending changes\n", changes);
  }
  return generation == written_to;
}

// 0 when there is none of the name.
uint32_t account_number(sqlite3 *handle, const std::string &account) {
  const Place accounts = {.table = find_table(NCFG_TABLE_ACCOUNTS), .parent_number = 0};
  const std::optional<Record> record = find(handle, accounts, account);
  return record ? record->number : 0;
}

std::vector<std::string> passwords_of(sqlite3 *handle, const std::string &account) {
  std::vector<std::string> passwords;
  for (auto entry = pending.passwords.rbegin(); entry != pending.passwords.rend(); ++entry) {
    if (entry->account == account) {
      passwords.push_back(entry->password);
    }
  }
  const std::vector<std::string> durable = history_of(handle, account_number(handle, account));
  passwords.insert(passwords.end(), durable.begin(), durable.end());
  passwords.resize(std::min<size_t>(passwords.size(), kHistoryLength));
  return passwords;
}

}  // namespace

std::optional<Place> store_table(const Table &table) {
  if (current_database() == nullptr) {
    return std::nullopt;
  }
  return Place{.table = &table, .parent_number = 0, .generation = generation};
}

std::optional<Record> store_find(const Place &place, std::string_view key) {
  sqlite3 *handle = database_of(place);
  return handle == nullptr ? std::nullopt : find(handle, place, key);
}

std::optional<Record> store_load(const Place &place, uint32_t number) {
  sqlite3 *handle = database_of(place);
  return handle == nullptr ? std::nullopt : load(handle, place, number);
}

std::vector<uint32_t> store_numbers(const Place &place) {
  sqlite3 *handle = database_of(place);
  if (handle == nullptr) {
    return {};
  }
  std::vector<uint32_t> numbers = durable_numbers(handle, place);
  for (const auto &[id, change] : pending.changes) {
    if (change.appended && same_place(change.place, place)) {
      numbers.push_back(change.record.number);
    }
  }
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  return numbers;
}

bool store_change(const Place &place, uint32_t number, const void *record) {
  const std::optional<std::string> key = key_in_record(*place.table, record);
  sqlite3 *handle = key ? database_to_change(place, *key, record) : nullptr;
  const std::optional<Record> before = handle == nullptr ? std::nullopt : load(handle, place, number);
  if (!before) {
    return false;
  }
  const std::optional<Record> same = find(handle, place, *key);
  if (same && same->number != number) {
    return false;
  }
  const Change *earlier = find_change(pending.changes, place, number);
  keep_change(place, number, *key, record, earlier != nullptr && earlier->appended);
  for (HistoryEntry &entry : pending.passwords) {
    if (place.table->definition.number == NCFG_TABLE_ACCOUNTS && entry.account == before->key) {
      entry.account = *key;
    }
  }
  return true;
}

bool store_append(const Place &place, const void *record) {
  const std::optional<std::string> key = key_in_record(*place.table, record);
  sqlite3 *handle = key ? database_to_change(place, *key, record) : nullptr;
  if (handle == nullptr || place.table->kind == TableKind::kSingle || !parent_exists(handle, place) ||
      find(handle, place, *key)) {
    return false;
  }
  keep_change(place, take_key_number(handle, *place.table), *key, record, true);
  return true;
}

std::vector<std::string> store_passwords(const std::string &account) {
  sqlite3 *handle = current_database();
  return handle == nullptr ? std::vector<std::string>() : passwords_of(handle, account);
}

void store_add_password(const std::string &account, const std::string &password) {
  sqlite3 *handle = current_database();
  if (handle == nullptr) {
    return;
  }
  const std::vector<std::string> known = passwords_of(handle, account);
  if (known.empty() || known.front() != password) {
    pending.passwords.push_back(
        {.account = account, .password = password, .time = time(nullptr), .number = account_number(handle, account)});
  }
}

bool store_write_pending() {
  const bool connected = current_database() != nullptr;
  if (pending.count() > 0) {
    return store_write([](sqlite3 *) { return true; });
  }
  return connected && !std::exchange(write_failed, false);
}

bool store_write(const std::function<bool(sqlite3 *)> &step) {
  sqlite3 *handle = current_database();
  if (handle == nullptr) {
    return false;
  }
  std::vector<std::string> report;
  {
    Transaction transaction(handle);
    report = write_changes(handle, pending);
    if (!step(handle) || std::exchange(write_failed, false)) {
      return false;
    }
    transaction.commit();
  }
  for (const std::string &line : report) {
    message("platform: %s\n", line.c_str());
  }
  return is_still_in_place(generation, std::exchange(pending, {}).count());
}

void store_drop() {
  drop_pending();
  write_failed = false;
  first_generation = database_generation() + 1;
}

}  // namespace kelvane::reference
