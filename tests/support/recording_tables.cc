// The configuration database of the recording platform.
#include <algorithm>
#include <array>

#include "tests/support/recording_state.h"

namespace recording {
namespace {

struct Definition {
  uint32_t number;
  size_t size;
  bool keyed;
  uint32_t parent;  // 0 for a top-level table
};

constexpr std::array<Definition, 8> kDefinitions = {{
    {NCFG_TABLE_SYSTEM_SETTINGS, sizeof(ncfg_system_settings), false, 0},
    {NCFG_TABLE_ACCESS_PROFILES, sizeof(ncfg_access_profile), true, 0},
    {NCFG_TABLE_WIDGETS, sizeof(ncfg_widget), true, 0},
    {NCFG_TABLE_ACCOUNTS, sizeof(ncfg_account), true, 0},
    {NCFG_TABLE_ACCOUNT_DASHBOARD, sizeof(ncfg_dashboard_entry), false, NCFG_TABLE_ACCOUNTS},
    {NCFG_TABLE_INTERFACES, sizeof(ncfg_interface), true, 0},
    {NCFG_TABLE_EVENT_HUB, sizeof(ncfg_event_hub), false, 0},
    {NCFG_TABLE_GUI_DASHBOARD, sizeof(ncfg_gui_dashboard), true, NCFG_TABLE_ACCOUNTS},
}};

const Definition *definition(uint32_t table) {
  const auto *found = std::find_if(kDefinitions.begin(), kDefinitions.end(),
                                   [table](const Definition &each) { return each.number == table; });
  return found != kDefinitions.end() ? found : nullptr;
}

// A query; its head is what the agent sees.
struct Query {
  cmf_query head = {};
  const Definition *table = nullptr;
  std::string parent_key;
  bool shared = false;
  std::unique_ptr<uint8_t[]> lent;
  std::vector<uint32_t> walk;
  size_t walk_next = 0;
};

struct Schema {
  std::map<uint32_t, std::vector<uint8_t>> defaults;
  std::map<uint32_t, cmdb_table> rows;
  std::vector<const cmdb_table *> by_number;
  bool changed = true;  // a test has given or taken a default
};

struct Store {
  Tables current;
  Tables durable;
  bool pending = false;
  std::vector<std::unique_ptr<Query>> queries;
  Schema schema;
};

Store &store() {
  static Store the_store;
  return the_store;
}

std::string key_of(const Definition &table, const std::vector<uint8_t> &bytes) {
  if (!table.keyed) {
    return "";
  }
  const auto *text = reinterpret_cast<const char *>(bytes.data());
  return std::string(text, strnlen(text, std::min<size_t>(NCFG_NAME_SIZE, bytes.size())));
}

Stored *find_in(std::vector<Stored> *records, const Definition &table, const std::string &key) {
  for (Stored &each : *records) {
    if (key_of(table, each.bytes) == key) {
      return &each;
    }
  }
  return nullptr;
}

Stored *find_number(std::vector<Stored> *records, uint32_t number) {
  for (Stored &each : *records) {
    if (each.number == number) {
      return &each;
    }
  }
  return nullptr;
}

// The records that a query works on; null when its parent is gone.
std::vector<Stored> *records_of(const Query &query) {
  if (query.table->parent == 0) {
    return &store().current[query.table->number];
  }
  Stored *parent = find_in(&store().current[query.table->parent], *definition(query.table->parent), query.parent_key);
  return parent != nullptr ? &parent->children[query.table->number] : nullptr;
}

uint32_t next_number(const std::vector<Stored> &records) {
  uint32_t highest = 0;
  for (const Stored &each : records) {
    highest = std::max(highest, each.number);
  }
  return highest + 1;
}

void insert_in_order(std::vector<Stored> *records, Stored record) {
  const auto at = std::find_if(records->begin(), records->end(),
                               [&record](const Stored &each) { return each.number > record.number; });
  records->insert(at, std::move(record));
}

void make_durable() {
  store().durable = store().current;
  store().pending = false;
}

Query *checked(cmf_query *query, const char *call) {
  for (const auto &each : store().queries) {
    if (&each->head == query) {
      return each.get();
    }
  }
  misuse(std::string(call) + (query == nullptr ? " without a query" : " with a query that was freed or never made"));
  return nullptr;
}

std::string name_of(const Query *query) {
  if (query == nullptr) {
    return "null";
  }
  const std::string number = std::to_string(query->table->number);
  return query->table->parent == 0 ? number : number + " of " + quoted(query->parent_key.c_str());
}

std::string name_of_record(const Definition *table, const void *record) {
  if (table == nullptr || record == nullptr) {
    return "null";
  }
  if (table->number == NCFG_TABLE_ACCOUNT_DASHBOARD) {
    ncfg_dashboard_entry entry;
    std::memcpy(&entry, record, sizeof entry);
    return "{" + std::to_string(entry.widget) + ", " + std::to_string(entry.column) + ", " +
           std::to_string(entry.open) + ", " + std::to_string(entry.height) + "}";
  }
  const auto *bytes = static_cast<const uint8_t *>(record);
  return quoted(key_of(*table, std::vector<uint8_t>(bytes, bytes + table->size)).c_str());
}

Query *make_query(const Definition *table, const std::string &parent_key, bool shared) {
  auto query = std::make_unique<Query>();
  query->table = table;
  query->parent_key = parent_key;
  query->shared = shared;
  store().queries.push_back(std::move(query));
  return store().queries.back().get();
}

void end_loan(Query *query) {
  query->lent.reset();
  query->head.found_key_number = 0;
}

void *lend(Query *query, const Stored *record) {
  end_loan(query);
  if (record == nullptr) {
    return nullptr;
  }
  query->lent = std::make_unique<uint8_t[]>(query->table->size);
  std::memcpy(query->lent.get(), record->bytes.data(), query->table->size);
  query->head.found_key_number = record->number;
  return query->lent.get();
}

// The next record of a walk that still exists.
void *walk_on(Query *query) {
  std::vector<Stored> *records = records_of(*query);
  while (records != nullptr && query->walk_next < query->walk.size()) {
    const Stored *record = find_number(records, query->walk[query->walk_next++]);
    if (record != nullptr) {
      return lend(query, record);
    }
  }
  return lend(query, nullptr);
}

bool append(Query *query, const void *record) {
  std::vector<Stored> *records = records_of(*query);
  const auto *bytes = static_cast<const uint8_t *>(record);
  Stored stored;
  stored.bytes.assign(bytes, bytes + query->table->size);
  if (records == nullptr ||
      (query->table->keyed && find_in(records, *query->table, key_of(*query->table, stored.bytes)) != nullptr)) {
    return false;
  }
  stored.number = next_number(*records);
  records->push_back(std::move(stored));
  store().pending = true;
  return true;
}

void *lend_single(Query *query) {
  std::vector<Stored> *records = records_of(*query);
  return lend(query, records != nullptr && !records->empty() ? &records->front() : nullptr);
}

// Tests change this as well.
void show_schema() {
  cmdb.table_count = NCFG_TABLE_HIGHEST;
  cmdb.tables = store().schema.by_number.data();
}

void rebuild_schema() {
  Schema &schema = store().schema;
  schema.by_number.assign(NCFG_TABLE_HIGHEST + 1, nullptr);
  schema.rows.clear();
  for (const auto &[number, bytes] : schema.defaults) {
    schema.rows[number] = {number, static_cast<uint32_t>(bytes.size()), bytes.data()};
    schema.by_number[number] = &schema.rows[number];
  }
  schema.changed = true;
  show_schema();
}

void default_schema() {
  store().schema.defaults.clear();
  for (const Definition &each : kDefinitions) {
    store().schema.defaults[each.number] = std::vector<uint8_t>(each.size, 0);
  }
  std::vector<uint8_t> &account_default = store().schema.defaults[NCFG_TABLE_ACCOUNTS];
  account_default[offsetof(ncfg_account, reserved_2450)] = kDefaultAccountByte2450;
  account_default[offsetof(ncfg_account, reserved_1100)] = kDefaultAccountByte1100;
  rebuild_schema();
  store().schema.changed = false;
}

const std::vector<Stored> &records_in(uint32_t table, State state) {
  Tables &tables = state == State::kCurrent ? store().current : store().durable;
  return tables[table];
}

template <typename Record>
Record single(uint32_t table, State state) {
  const std::vector<Stored> &records = records_in(table, state);
  return records.empty() ? Record{} : from_bytes<Record>(records.front().bytes);
}

}  // namespace

void reset_tables() {
  store().queries.clear();
  store().current.clear();
  store().durable.clear();
  store().pending = false;
  if (store().schema.changed) {
    default_schema();
  }
  show_schema();
}

size_t open_queries() {
  return static_cast<size_t>(
      std::count_if(store().queries.begin(), store().queries.end(), [](const auto &each) { return !each->shared; }));
}

uint32_t seed_bytes(uint32_t table, const void *record, size_t size, uint32_t key_number) {
  const Definition *known = definition(table);
  if (known == nullptr || known->parent != 0 || size != known->size) {
    misuse("seed of table " + std::to_string(table) + " with a record of " + std::to_string(size) + " bytes");
    return 0;
  }
  std::vector<Stored> &records = store().current[table];
  const auto *bytes = static_cast<const uint8_t *>(record);
  Stored stored;
  stored.bytes.assign(bytes, bytes + size);
  Stored *old = find_in(&records, *known, key_of(*known, stored.bytes));
  if (old != nullptr) {
    old->bytes = stored.bytes;
    make_durable();
    return old->number;
  }
  stored.number = key_number != 0 ? key_number : next_number(records);
  const uint32_t number = stored.number;
  insert_in_order(&records, std::move(stored));
  make_durable();
  return number;
}

void remove(uint32_t table, const std::string &key) {
  const Definition *known = definition(table);
  for (Tables *tables : {&store().current, &store().durable}) {
    std::vector<Stored> &records = (*tables)[table];
    records.erase(std::remove_if(records.begin(), records.end(),
                                 [&](const Stored &each) { return key_of(*known, each.bytes) == key; }),
                  records.end());
  }
}

uint32_t seed_account(const std::string &name, const std::string &stored_password, uint8_t hidden) {
  ncfg_account record = {};
  name.copy(record.name, sizeof record.name - 1);
  stored_password.copy(record.password, sizeof record.password - 1);
  record.hidden = hidden;
  return seed(NCFG_TABLE_ACCOUNTS, record);
}

uint32_t seed_interface(const std::string &name, uint32_t azure_endpoint, uint32_t addressing_mode, uint8_t manual,
                        uint32_t default_server) {
  ncfg_interface record = {};
  name.copy(record.name, sizeof record.name - 1);
  record.AzureEndpoint = azure_endpoint;
  record.addressing_mode = addressing_mode;
  record.manual = manual;
  record.default_server = default_server;
  return seed(NCFG_TABLE_INTERFACES, record);
}

uint32_t seed_widget(const std::string &name, uint32_t key_number) {
  ncfg_widget record = {};
  name.copy(record.name, sizeof record.name - 1);
  return seed(NCFG_TABLE_WIDGETS, record, key_number);
}

uint32_t seed_access_profile(const std::string &name, uint32_t key_number) {
  ncfg_access_profile record = {};
  name.copy(record.name, sizeof record.name - 1);
  return seed(NCFG_TABLE_ACCESS_PROFILES, record, key_number);
}

void seed_system_settings(const ncfg_system_settings &record) {
  seed(NCFG_TABLE_SYSTEM_SETTINGS, record);
}

void seed_event_hub(const ncfg_event_hub &record) {
  seed(NCFG_TABLE_EVENT_HUB, record);
}

void seed_factory_defaults() {
  seed_system_settings();
  seed_event_hub();
  seed_account("admin", "factory");
  seed_access_profile("prof_admin", 5);
  uint32_t number = 11;
  for (const char *name :
       {"sysinfo", "vexwatch", "sysres", "policysummary", "attacksummary", "alert", "policy-sessions", "sysop"}) {
    seed_widget(name, number++);
  }
  for (const char *name : {"port1", "port2", "port3", "port4"}) {
    seed_interface(name);
  }
}

std::optional<std::vector<uint8_t>> record_bytes(uint32_t table, const std::string &key, State state) {
  const Definition *known = definition(table);
  for (const Stored &each : records_in(table, state)) {
    if (known != nullptr && key_of(*known, each.bytes) == key) {
      return each.bytes;
    }
  }
  return std::nullopt;
}

std::vector<std::vector<uint8_t>> all_bytes(uint32_t table, State state) {
  std::vector<std::vector<uint8_t>> found;
  for (const Stored &each : records_in(table, state)) {
    found.push_back(each.bytes);
  }
  return found;
}

std::vector<std::vector<uint8_t>> children_bytes(uint32_t table, const std::string &key, uint32_t child_table,
                                                 State state) {
  std::vector<std::vector<uint8_t>> found;
  for (const Stored &each : records_in(table, state)) {
    const auto children = each.children.find(child_table);
    if (key_of(*definition(table), each.bytes) != key || children == each.children.end()) {
      continue;
    }
    for (const Stored &child : children->second) {
      found.push_back(child.bytes);
    }
  }
  return found;
}

std::vector<std::string> keys(uint32_t table, State state) {
  std::vector<std::string> found;
  for (const Stored &each : records_in(table, state)) {
    found.push_back(key_of(*definition(table), each.bytes));
  }
  return found;
}

uint32_t key_number(uint32_t table, const std::string &key) {
  const Definition *known = definition(table);
  const Stored *found = known != nullptr ? find_in(&store().current[table], *known, key) : nullptr;
  return found != nullptr ? found->number : 0;
}

bool pending() {
  return store().pending;
}

std::optional<ncfg_account> account(const std::string &name, State state) {
  return record<ncfg_account>(NCFG_TABLE_ACCOUNTS, name, state);
}

std::optional<ncfg_interface> interface_record(const std::string &name, State state) {
  return record<ncfg_interface>(NCFG_TABLE_INTERFACES, name, state);
}

ncfg_system_settings system_settings(State state) {
  return single<ncfg_system_settings>(NCFG_TABLE_SYSTEM_SETTINGS, state);
}

ncfg_event_hub event_hub(State state) {
  return single<ncfg_event_hub>(NCFG_TABLE_EVENT_HUB, state);
}

void set_default_record(uint32_t table, const void *record, size_t size) {
  const auto *bytes = static_cast<const uint8_t *>(record);
  store().schema.defaults[table].assign(bytes, bytes + size);
  rebuild_schema();
}

void remove_definition(uint32_t table) {
  store().schema.defaults.erase(table);
  rebuild_schema();
}

}  // namespace recording

using recording::add_ending;
using recording::checked;
using recording::enter;
using recording::name_of;
using recording::Query;
using recording::quoted;
using recording::store;

namespace {

// The position in the trace of the call that is entered next.
size_t next_position() {
  return recording::trace().size();
}

// The common part of the calls that lend a record.
template <typename Step>
void *lending_call(const char *call, Query *query, const std::string &arguments, Step step) {
  const size_t where = next_position();
  if (enter(call, name_of(query) + arguments) || query == nullptr) {
    if (query != nullptr) {
      recording::end_loan(query);
    }
    return nullptr;
  }
  void *record = step(query);
  if (record == nullptr) {
    add_ending(where, " -> none");
  }
  return record;
}

}  // namespace

extern "C" {

struct cmdb_schema cmdb = {0, nullptr};

int32_t conf_init(void) {
  int32_t result = 0;
  enter("conf_init", "", &result);
  return result;
}

void conf_end(void) {
  enter("conf_end", "");
  auto &queries = store().queries;
  queries.erase(std::remove_if(queries.begin(), queries.end(), [](const auto &each) { return each->shared; }),
                queries.end());
  store().current = store().durable;
  store().pending = false;
}

int32_t cmf_get_cur_domain_id(void) {
  int32_t result = recording::kDomain;
  enter("cmf_get_cur_domain_id", "", &result);
  return result;
}

int32_t cmf_write_config(int32_t domain) {
  int32_t result = 0;
  if (enter("cmf_write_config", std::to_string(domain), &result)) {
    return result;
  }
  recording::make_durable();
  return 0;
}

struct cmf_query *nCfg_query(uint32_t table) {
  const auto *known = recording::definition(table);
  if (enter("nCfg_query", std::to_string(table)) || known == nullptr || known->parent != 0) {
    return nullptr;
  }
  for (const auto &each : store().queries) {
    if (each->shared && each->table == known) {
      return &each->head;
    }
  }
  return &recording::make_query(known, "", true)->head;
}

struct cmf_query *cmf_query_create(uint32_t table) {
  const auto *known = recording::definition(table);
  if (enter("cmf_query_create", std::to_string(table)) || known == nullptr || known->parent != 0) {
    return nullptr;
  }
  return &recording::make_query(known, "", false)->head;
}

struct cmf_query *cmf_query_create_child_with_key(struct cmf_query *parent, uint32_t child_table, const char *key) {
  Query *query = checked(parent, "cmf_query_create_child_with_key");
  const size_t where = next_position();
  const bool failed = enter("cmf_query_create_child_with_key",
                            name_of(query) + ", " + std::to_string(child_table) + ", " + quoted(key));
  const auto *known = recording::definition(child_table);
  if (failed || query == nullptr || key == nullptr || known == nullptr || known->parent != query->table->number) {
    return nullptr;
  }
  if (recording::find_in(recording::records_of(*query), *query->table, key) == nullptr) {
    add_ending(where, " -> none");
    return nullptr;
  }
  return &recording::make_query(known, key, false)->head;
}

void cmf_query_free(struct cmf_query *query) {
  if (query == nullptr) {
    enter("cmf_query_free", "null");
    return;
  }
  Query *known = checked(query, "cmf_query_free");
  enter("cmf_query_free", name_of(known));
  if (known != nullptr && known->shared) {
    recording::misuse("cmf_query_free of the shared query of table " + name_of(known));
    return;
  }
  auto &queries = store().queries;
  queries.erase(
      std::remove_if(queries.begin(), queries.end(), [known](const auto &each) { return each.get() == known; }),
      queries.end());
}

void *cmf_query_do_table_find(struct cmf_query *query, int32_t options, const char *key, int32_t key_kind) {
  const std::string arguments = ", " + std::to_string(options) + ", " + quoted(key) + ", " + std::to_string(key_kind);
  return lending_call(
      "cmf_query_do_table_find", checked(query, "cmf_query_do_table_find"), arguments, [key](Query *known) -> void * {
        auto *records = recording::records_of(*known);
        return recording::lend(
            known, records != nullptr && key != nullptr ? recording::find_in(records, *known->table, key) : nullptr);
      });
}

void *cmf_query_update(struct cmf_query *query) {
  return lending_call("cmf_query_update", checked(query, "cmf_query_update"), "", recording::lend_single);
}

void *cmf_query_table_head(struct cmf_query *query) {
  return lending_call("cmf_query_table_head", checked(query, "cmf_query_table_head"), "", [](Query *known) {
    known->walk.clear();
    known->walk_next = 0;
    auto *records = recording::records_of(*known);
    for (size_t i = 0; records != nullptr && i < records->size(); i++) {
      known->walk.push_back((*records)[i].number);
    }
    return recording::walk_on(known);
  });
}

void *cmf_query_get_next(struct cmf_query *query) {
  return lending_call("cmf_query_get_next", checked(query, "cmf_query_get_next"), "", recording::walk_on);
}

int32_t cmf_query_commit(struct cmf_query *query) {
  Query *known = checked(query, "cmf_query_commit");
  int32_t result = -1;
  if (enter("cmf_query_commit", name_of(known), &result) || known == nullptr) {
    return result;
  }
  auto *records = recording::records_of(*known);
  auto *record = records != nullptr ? recording::find_number(records, known->head.found_key_number) : nullptr;
  if (known->lent == nullptr || record == nullptr) {
    return -1;
  }
  record->bytes.assign(known->lent.get(), known->lent.get() + known->table->size);
  store().pending = true;
  return 0;
}

int32_t cmf_query_table_append(struct cmf_query *query, const void *record) {
  Query *known = checked(query, "cmf_query_table_append");
  int32_t result = -1;
  const auto *table = known != nullptr ? known->table : nullptr;
  if (enter("cmf_query_table_append", name_of(known) + ", " + recording::name_of_record(table, record), &result) ||
      known == nullptr || record == nullptr) {
    return result;
  }
  return recording::append(known, record) ? 0 : -1;
}

int32_t __nCfg_sess_table_change_by_mkey(int32_t session, uint32_t table, const void *old_record,
                                         const void *new_record, int32_t options) {
  const auto *known = recording::definition(table);
  int32_t result = -1;
  const std::string arguments = std::to_string(session) + ", " + std::to_string(table) + ", " +
                                recording::name_of_record(known, old_record) + ", " +
                                recording::name_of_record(known, new_record) + ", " + std::to_string(options);
  if (enter("__nCfg_sess_table_change_by_mkey", arguments, &result) || known == nullptr) {
    return result;
  }
  const auto *old_bytes = static_cast<const uint8_t *>(old_record);
  const auto *new_bytes = static_cast<const uint8_t *>(new_record);
  const std::string key = recording::key_of(*known, std::vector<uint8_t>(old_bytes, old_bytes + known->size));
  auto *record = recording::find_in(&store().current[table], *known, key);
  if (record == nullptr) {
    return -1;
  }
  record->bytes.assign(new_bytes, new_bytes + known->size);
  recording::make_durable();
  return 0;
}

int32_t nCfg_table_delete_by_mkey(uint32_t table, const char *key) {
  int32_t result = -1;
  const auto *known = recording::definition(table);
  if (enter("nCfg_table_delete_by_mkey", std::to_string(table) + ", " + quoted(key), &result) || known == nullptr ||
      key == nullptr || recording::find_in(&store().current[table], *known, key) == nullptr) {
    return result;
  }
  recording::remove(table, key);
  recording::make_durable();
  return 0;
}

void copy_cmdb_default(const struct cmdb_table *table, void *record, size_t size) {
  enter("copy_cmdb_default", (table != nullptr ? std::to_string(table->number) : "null") + ", " + std::to_string(size));
  if (table == nullptr || record == nullptr) {
    recording::misuse("copy_cmdb_default without a table or a record");
    return;
  }
  std::memcpy(record, table->default_record, std::min<size_t>(size, table->record_size));
}

int32_t add_default_gui_dashboard(struct cmf_query *query, const struct ncfg_account *account, int32_t options,
                                  int32_t position, int32_t add) {
  Query *known = checked(query, "add_default_gui_dashboard");
  int32_t result = -1;
  const std::string arguments = name_of(known) + ", " + (account != nullptr ? quoted(account->name) : "null") + ", " +
                                std::to_string(options) + ", " + std::to_string(position) + ", " + std::to_string(add);
  if (enter("add_default_gui_dashboard", arguments, &result) || known == nullptr ||
      known->table->number != NCFG_TABLE_GUI_DASHBOARD) {
    return result;
  }
  const ncfg_gui_dashboard page = {"default", 2};
  return recording::append(known, &page) ? 0 : -1;
}

}  // extern "C"
