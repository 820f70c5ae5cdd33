#include "platform/reference/changes.h"

#include <set>

#include "platform/platform.h"
#include "platform/reference/key_numbers.h"

namespace kelvane::reference {
namespace {

class Writer {
 public:
  Writer(sqlite3 *handle, Pending what) : handle_(handle), what_(std::move(what)) {}

  std::vector<std::string> write() {
    leave_out_taken_names();
    free_names();
    for (const auto &[id, change] : what_.changes) {
      if (!change.appended) {
        replace(change);
      }
    }
    for (auto &[id, change] : what_.changes) {
      if (change.appended) {
        append(change);
      }
    }
    for (const HistoryEntry &entry : what_.passwords) {
      history_add(handle_, entry);
    }
    return std::move(report_);
  }

 private:
  // What is left out keeps the name that it has, for which another change may have hoped.
  void leave_out_taken_names() {
    for (auto at = what_.changes.begin(); at != what_.changes.end();) {
      if (!wants_taken_name(at->second)) {
        ++at;
        continue;
      }
      report(at->second, "another record has the name");
      if (at->second.place.table->definition.number == NCFG_TABLE_ACCOUNTS) {
        forget_passwords(at->second);
      }
      if (at->second.appended) {
        numbers_[at->first] = 0;
      } else {
        left_out_.insert(at->first);
      }
      what_.changes.erase(at);
      at = what_.changes.begin();
    }
  }

  // Not those of another record that is to have the name.
  void forget_passwords(const Change &account) {
    std::erase_if(what_.passwords, [&](const HistoryEntry &entry) {
      return entry.number == account.record.number ||
             (entry.number == 0 && account.appended && entry.account == account.record.key);
    });
  }

  bool wants_taken_name(const Change &change) {
    const std::optional<Record> same = durable_find(handle_, change.place, change.record.key);
    if (!same) {
      return false;
    }
    return change.appended ? left_out_.count({change.place.table->definition.number, same->number}) != 0
                           : same->number != change.record.number && !is_renamed(change.place, *same);
  }

  bool is_renamed(const Place &place, const Record &durable) {
    const Change *change = find_change(what_.changes, place, durable.number);
    return change != nullptr && !change->appended && change->record.key != durable.key;
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

  void replace(const Change &change) {
    if (durable_exists(handle_, change.place.table->definition.number, change.record.number)) {
      durable_replace(handle_, change.place, change.record);
    } else {
      report(change, "was deleted meanwhile");
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
      report(change, "its owner is not there");
      return;
    }
    if (const std::optional<Record> same = durable_find(handle_, place, change.record.key)) {
      report(change, "is there already, and is replaced");
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

  void report(const Change &change, const char *what) {
    report_.push_back("table " + std::to_string(change.place.table->definition.number) + ", record \"" +
                      change.record.key + "\": " + what);
  }

  sqlite3 *handle_;
  Pending what_;
  std::set<RecordId> left_out_;           // records that keep the names they were to give up
  std::map<RecordId, uint32_t> numbers_;  // under which the new records were written; 0: it was not
  std::vector<std::string> report_;
};

}  // namespace

const Change *find_change(const Changes &changes, const Place &place, uint32_t number) {
  const auto found = changes.find({place.table->definition.number, number});
  return found == changes.end() ? nullptr : &found->second;
}

std::vector<std::string> write_changes(sqlite3 *database, Pending what) {
  return Writer(database, std::move(what)).write();
}

}  // namespace kelvane::reference
