#include "platform/reference/changes.h"

#include <algorithm>
#include <string>

#include "platform/platform.h"
#include "platform/reference/key_numbers.h"

namespace kelvane::reference {
namespace {

class Writer {
 public:
  Writer(sqlite3 *handle, Pending what) : handle_(handle), what_(std::move(what)) {}

  void write() {
    leave_out_taken_names();
    free_names();
    for (auto &[id, change] : what_.changes) {
      if (change.appended) {
        append(change);
      } else if (durable_exists(handle_, id.first, id.second)) {
        durable_replace(handle_, change.place, change.record);
      } else {
        report(change, "was deleted meanwhile");
      }
    }
    for (const HistoryEntry &entry : what_.passwords) {
      history_add(handle_, entry);
    }
  }

 private:
  // What is left out keeps the name that it has, for which another change may have hoped.
  void leave_out_taken_names() {
    for (auto at = what_.changes.begin(); at != what_.changes.end();) {
      if (!wants_taken_name(at->second)) {
        ++at;
        continue;
      }
      report(at->second, "the name was given to another record meanwhile");
      if (at->second.place.table->definition.number == NCFG_TABLE_ACCOUNTS) {
        forget_passwords(at->second.record.key);
      }
      what_.changes.erase(at);
      at = what_.changes.begin();
    }
  }

  bool wants_taken_name(const Change &change) {
    if (change.appended) {
      return false;
    }
    const std::optional<Record> same = durable_find(handle_, change.place, change.record.key);
    return same && same->number != change.record.number && !is_renamed(change.place, *same);
  }

  bool is_renamed(const Place &place, const Record &durable) {
    const Change *change = find_change(what_.changes, place, durable.number);
    return change != nullptr && !change->appended && change->record.key != durable.key;
  }

  void forget_passwords(const std::string &account) {
    std::vector<HistoryEntry> &entries = what_.passwords;
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [&](const HistoryEntry &entry) { return entry.account == account; }),
                  entries.end());
  }

  // Gives the records that change their names others, longer than any record's, until all are written.
  void free_names() {
    for (const auto &[id, change] : what_.changes) {
      const std::optional<Record> before =
          change.appended ? std::nullopt : durable_load(handle_, change.place, change.record.number);
      if (before && before->key != change.record.key) {
        Record renamed = change.record;
        renamed.key = std::string(NCFG_NAME_SIZE, '/') + std::to_string(renamed.number);
        durable_replace(handle_, change.place, renamed);
      }
    }
  }

  void append(Change &change) {
    Place &place = change.place;
    const RecordId id(place.table->definition.number, change.record.number);
    const auto parent = numbers_.find({place.table->parent, place.parent_number});
    if (parent != numbers_.end()) {
      place.parent_number = parent->second;
    }
    if (place.table->parent != 0 && !durable_exists(handle_, place.table->parent, place.parent_number)) {
      report(change, "its owner was deleted meanwhile");
      return;
    }
    if (const std::optional<Record> same = durable_find(handle_, place, change.record.key)) {
      report(change, "was also made by another process, and is replaced");
      change.record.number = same->number;
      durable_replace(handle_, place, change.record);
    } else {
      if (durable_exists(handle_, place.table->definition.number, change.record.number)) {
        change.record.number = take_key_number_at_once(handle_, *place.table);
      }
      durable_insert(handle_, place, change.record);
    }
    numbers_[id] = change.record.number;
  }

  static void report(const Change &change, const char *what) {
    message("platform: table %u, record \"%s\": %s\n", change.place.table->definition.number, change.record.key.c_str(),
            what);
  }

  sqlite3 *handle_;
  Pending what_;
  std::map<RecordId, uint32_t> numbers_;  // under which the new records were written
};

}  // namespace

const Change *find_change(const Changes &changes, const Place &place, uint32_t number) {
  const auto found = changes.find({place.table->definition.number, number});
  return found == changes.end() ? nullptr : &found->second;
}

void write_changes(sqlite3 *database, Pending what) {
  Writer(database, std::move(what)).write();
}

}  // namespace kelvane::reference
