#include "tests/fuzz/record_calls.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <set>
#include <vector>

#include "platform/reference/database.h"
#include "platform/reference/reference.h"
#include "tests/fuzz/quick_sqlite.h"

namespace fuzz {

namespace {

std::vector<char> record_named(uint32_t table, const std::string &name) {
  std::vector<char> record(cmdb.tables[table]->record_size);
  copy_cmdb_default(cmdb.tables[table], record.data(), record.size());
  std::memset(record.data(), 0, NCFG_NAME_SIZE);
  std::copy_n(name.begin(), std::min<size_t>(name.size(), NCFG_NAME_SIZE), record.begin());
  return record;
}

void append(uint32_t table, const std::string &text) {
  cmf_query *query = cmf_query_create(table);
  cmf_query_table_append(query, record_named(table, text).data());
  cmf_query_free(query);
}

// The text up to a slash names a record, the rest is its new name.
void rename_record(uint32_t table, const std::string &text) {
  cmf_query *query = cmf_query_create(table);
  const size_t slash = text.find('/');
  const std::string new_name = slash == std::string::npos ? text : text.substr(slash + 1);
  void *record = cmf_query_do_table_find(query, 0, text.substr(0, slash).c_str(), 2);
  if (record != nullptr) {
    std::memcpy(record, record_named(table, new_name).data(), NCFG_NAME_SIZE);
    cmf_query_commit(query);
  }
  cmf_query_free(query);
}

void change_in_session(uint32_t table, const std::string &text) {
  const std::vector<char> old_record = record_named(table, text.substr(0, text.find('/')));
  std::vector<char> new_record = record_named(table, text.substr(std::min(text.size(), text.find('/') + 1)));
  new_record.back() = 'c';
  __nCfg_sess_table_change_by_mkey(0, table, old_record.data(), new_record.data(), 0);
}

void delete_in_session(uint32_t table, const std::string &text) {
  nCfg_table_delete_by_mkey(table, text.c_str());
}

void append_child(uint32_t, const std::string &text) {
  cmf_query *accounts = cmf_query_create(NCFG_TABLE_ACCOUNTS);
  cmf_query *query = cmf_query_create_child_with_key(accounts, NCFG_TABLE_GUI_DASHBOARD, text.c_str());
  if (query != nullptr) {
    cmf_query_table_append(query, record_named(NCFG_TABLE_GUI_DASHBOARD, text).data());
    cmf_query_free(query);
  }
  cmf_query_free(accounts);
}

void write_pending(uint32_t, const std::string &) {
  cmf_write_config(cmf_get_cur_domain_id());
}

void set_ssh_key(uint32_t table, const std::string &text) {
  ssh_pubkey_data_set("admin", text.c_str(), static_cast<int32_t>(table % 5));
}

void connect_again() {
  require(cmf_write_config(cmf_get_cur_domain_id()) == 0, "what is pending is written");
  const std::string before = all_records();
  conf_end();
  require(conf_init() == 0, "there is a connection again");
  require(all_records() == before, "what was written is found again");
}

constexpr void (*kCalls[])(uint32_t, const std::string &) = {
    append, rename_record, change_in_session, delete_in_session, append_child, write_pending, set_ssh_key};
constexpr unsigned char kConnectAgain = 0xFF;

std::string records_of(uint32_t table) {
  std::string shown;
  std::set<std::string> keys;
  std::set<uint32_t> numbers;
  cmf_query *walk = cmf_query_create(table);
  cmf_query *find = cmf_query_create(table);
  const size_t size = cmdb.tables[table]->record_size;
  for (void *record = cmf_query_table_head(walk); record != nullptr; record = cmf_query_get_next(walk)) {
    const std::string bytes(static_cast<const char *>(record), size);
    const std::string key = bytes.c_str();
    require(!key.empty() && key.size() < NCFG_NAME_SIZE && keys.insert(key).second, "a record has a key of its own");
    require(walk->found_key_number != 0 && numbers.insert(walk->found_key_number).second, "and a number of its own");
    const void *found = cmf_query_do_table_find(find, 0, key.c_str(), 2);
    require(found != nullptr && std::memcmp(found, bytes.data(), size) == 0, "a look-up finds what the walk finds");
    shown += bytes + std::to_string(walk->found_key_number);
  }
  cmf_query_free(find);
  cmf_query_free(walk);
  return shown;
}

}  // namespace

std::string RecordCalls::take(size_t length) {
  const std::string taken = rest_.substr(0, length);
  rest_.erase(0, length);
  return taken;
}

void RecordCalls::run() {
  bool connected_again = false;
  while (rest_.size() >= 3) {
    const std::string head = take(3);
    const auto at = [&](size_t i) { return static_cast<unsigned char>(head[i]); };
    const std::string text = take(at(2));
    if (at(0) != kConnectAgain) {
      kCalls[at(0) % std::size(kCalls)](kTables[at(1) % std::size(kTables)], text);
    } else if (!connected_again) {
      connect_again();
      connected_again = true;
    }
  }
}

std::string all_records_as_they_are() {
  std::string shown;
  for (const uint32_t table : kTables) {
    cmf_query *walk = cmf_query_create(table);
    for (void *record = cmf_query_table_head(walk); record != nullptr; record = cmf_query_get_next(walk)) {
      require(walk->found_key_number != 0, "a record has a key number");
      shown += std::string(static_cast<const char *>(record), cmdb.tables[table]->record_size) +
               std::to_string(walk->found_key_number);
    }
    cmf_query_free(walk);
  }
  return shown;
}

std::string factory_database() {
  make_sqlite_quick();
  const support::TempDir folder;
  reference_set_root(folder.path().c_str());
  require(conf_init() == 0, "there is a connection");
  require(sqlite3_exec(kelvane::reference::database(),
                       "DELETE FROM records WHERE EXISTS (SELECT 1 FROM records AS other WHERE other.table_number = "
                       "records.table_number AND other.key_number < records.key_number)",
                       nullptr, nullptr, nullptr) == SQLITE_OK,
          "there are fewer records");
  conf_end();
  return folder.read("data/etc/kelvane-config.db");
}

std::string all_records() {
  std::string shown;
  for (const uint32_t table : kTables) {
    shown += records_of(table);
  }
  return shown;
}

}  // namespace fuzz
